#include "overlay/CardDamage.h"

#include "overlay/CardMetrics.h"

#include <algorithm>

namespace murlo {

namespace {

/// The pieces that differ between two lists, each at the place that `frame` tells.
template <typename Piece, typename Frame>
QRectF apart(const QList<Piece>& before, const QList<Piece>& after, Frame frame) {
    QRectF changed;
    for (qsizetype i = 0; i < std::max(before.size(), after.size()); ++i) {
        const bool was = i < before.size();
        const bool is = i < after.size();
        if (was && is && before[i] == after[i]) continue;
        if (was) changed |= frame(before[i]);
        if (is) changed |= frame(after[i]);
    }
    return changed;
}

QRectF rowDamage(const PlacedRow& before, const PlacedRow& after) {
    const auto whole = [](const PlacedRow& row) { return QRectF(row.origin, row.row.size); };
    if (before.origin != after.origin || before.opacity != after.opacity ||
        before.row.size != after.row.size)
        return whole(before) | whole(after);
    QRectF changed =
        apart(before.row.fills, after.row.fills, [](const CardFill& f) { return f.rect; });
    changed |= apart(before.row.symbols, after.row.symbols,
                     [](const CardSymbol& symbol) { return symbol.square; });
    changed |= apart(before.row.texts, after.row.texts, inkOf);
    return changed.translated(after.origin);
}

} // namespace

QRectF inkOf(const CardText& text) {
    constexpr double above = 20;
    constexpr double below = 8;
    constexpr double overhang = 2; // of a slanted letter
    const double soft = 1.5 * text.blur;
    return {text.baseline - QPointF(overhang + soft, above + soft),
            QSizeF(CardMetrics::panelWidth, above + below + 2 * soft)};
}

QRect cardDamage(const CardRecord& before, const CardRecord& after) {
    constexpr int shadow = 20;
    const auto all = [](const CardRecord& card) {
        return card.card.isEmpty()
                   ? QRect()
                   : card.card.toAlignedRect().adjusted(-shadow, -shadow, shadow, shadow + 10);
    };
    const bool stands = before.card == after.card && before.opacity == after.opacity &&
                        before.lift == after.lift && before.fade == after.fade &&
                        before.transcript == after.transcript &&
                        before.rows.size() == after.rows.size();
    if (!stands) return all(before) | all(after);
    QRect changed = apart(before.words, after.words, inkOf).toAlignedRect();
    constexpr int soft = 2; // edges between pixels, symbols that lean out of their squares
    for (qsizetype i = 0; i < after.rows.size(); ++i) {
        const QRectF row = rowDamage(before.rows[i], after.rows[i]);
        if (!row.isEmpty()) changed |= row.toAlignedRect().adjusted(-soft, -soft, soft, soft);
    }
    return changed & all(after);
}

} // namespace murlo
