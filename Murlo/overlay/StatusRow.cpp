#include "overlay/StatusRow.h"

#include "look/Look.h"
#include "look/Words.h"
#include "overlay/CardMetrics.h"
#include "overlay/TranscriptTypesetter.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QTextLayout>

#include <algorithm>
#include <array>

namespace murlo {

using namespace CardMetrics;

namespace {

/// The baseline that centres capitals in a line of this height.
double centredBaseline(CardFont font, double height) {
    return std::round((height + QFontMetricsF(cardFont(font)).capHeight()) / 2);
}

double textWidth(const QString& text, CardFont font) {
    return std::ceil(QFontMetricsF(cardFont(font)).horizontalAdvance(text));
}

/// What the clock needs to know of its font.
struct ClockCells {
    ClockCells() {
        const QFontMetricsF metrics(cardFont(CardFont::clock));
        for (std::size_t i = 0; i < widths.size(); ++i) // the colon comes after the figures
            widths.at(i) = metrics.horizontalAdvance(QChar(u'0' + static_cast<char16_t>(i)));
        figure = std::ceil(*std::max_element(widths.begin(), widths.end() - 1));
        colon = std::ceil(widths.back());
    }

    std::array<double, 11> widths{};
    double figure = 0;
    double colon = 0;
    double baseline = centredBaseline(CardFont::clock, rowHeight);
};

/// Minutes and seconds in cells of one width per figure, so that nothing moves while they count.
/// Returns the width.
double addClock(CardRow& row, double elapsed) {
    const auto seconds = static_cast<qint64>(elapsed);
    const QString text =
        QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
    static const ClockCells cells; // measured once: the card asks thirty times a second
    double x = row.size.width();
    for (qsizetype i = text.size() - 1; i >= 0; --i) {
        const double cell = text[i] == QLatin1Char(':') ? cells.colon : cells.figure;
        x -= cell;
        const double inset = (cell - cells.widths.at(text[i].unicode() - '0')) / 2;
        row.texts.append({text[i], {x + inset, cells.baseline}, CardFont::clock, Look::panelText});
    }
    return row.size.width() - x;
}

CardRow listening(const StatusInput& input) {
    CardRow row;
    row.size = {contentWidth, rowHeight};
    RecordingBadge::addTo(row, {0, (rowHeight - badge) / 2});
    const double clock = addClock(row, input.elapsed);
    const Waveform waveform{input.bars, minBar, maxBar};
    const double room = contentWidth - badge - clock;
    const QPointF at(badge + std::round((room - Waveform::width(input.bars.size())) / 2),
                     (rowHeight - maxBar) / 2);
    for (CardFill bar : waveform.present()) {
        bar.rect.translate(at);
        row.fills.append(bar);
    }
    return row;
}

/// Symbol and words from the other side, where the language is written from the right.
CardRow inReadingDirection(CardRow row) {
    if (!QGuiApplication::isRightToLeft()) return row;
    for (CardSymbol& symbol : row.symbols)
        symbol.square.moveLeft(row.size.width() - symbol.square.right());
    for (CardText& text : row.texts)
        text.baseline.setX(row.size.width() - text.baseline.x() - textWidth(text.text, text.font));
    return row;
}

CardRow phrase(const QString& text, const CardSymbol& symbol) {
    CardRow row;
    CardSymbol placed = symbol;
    placed.square = {0, (rowHeight - CardMetrics::symbol) / 2, CardMetrics::symbol,
                     CardMetrics::symbol};
    row.symbols.append(placed);
    const double x = CardMetrics::symbol + rowGap;
    row.texts.append({text,
                      {x, centredBaseline(CardFont::status, rowHeight)},
                      CardFont::status,
                      Look::panelText});
    row.size = {x + textWidth(text, CardFont::status), rowHeight};
    return inReadingDirection(std::move(row));
}

/// The lines of a message at the width of the card, the last one elided if there is no room.
QStringList brokenLines(const QString& message, int most) {
    QTextLayout layout(message, cardFont(CardFont::status));
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    QStringList lines;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(messageWidth);
        if (lines.size() == most - 1 && line.textStart() + line.textLength() < message.size()) {
            lines.append(
                QFontMetricsF(cardFont(CardFont::status))
                    .elidedText(message.mid(line.textStart()), Qt::ElideRight, messageWidth));
            break;
        }
        lines.append(message.mid(line.textStart(), line.textLength()).trimmed());
    }
    layout.endLayout();
    return lines;
}

CardRow failure(const Message& message) {
    constexpr double room = panelHeight - shadowAbove - shadowBelow - 2 * paddingAlong;
    const QStringList lines =
        brokenLines(Words::shown(message).simplified(), static_cast<int>(room / messageLineHeight));
    CardRow row;
    const double x = symbol + rowGap + 2;
    double widest = 0;
    // One line stands as high as any other state's row.
    const double height =
        std::max(rowHeight, messageLineHeight * static_cast<double>(lines.size()));
    const double top = (height - messageLineHeight * static_cast<double>(lines.size())) / 2;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const double y = top + messageLineHeight * static_cast<double>(i) +
                         centredBaseline(CardFont::status, messageLineHeight);
        row.texts.append({lines[i], {x, std::round(y)}, CardFont::status, Look::panelText});
        widest = std::max(widest, textWidth(lines[i], CardFont::status));
    }
    row.symbols.append({Symbol::warning,
                        {0, top + (messageLineHeight - symbol) / 2, symbol, symbol},
                        Look::orange});
    row.size = {x + widest, height};
    return inReadingDirection(std::move(row));
}

} // namespace

const QFont& cardFont(CardFont font) {
    static const QFont status = Look::font(Look::body, QFont::Medium);
    static const QFont clock = Look::font(Look::body, QFont::DemiBold);
    switch (font) {
    case CardFont::words:
        return TranscriptTypesetter::attributes();
    case CardFont::clock:
        return clock;
    case CardFont::status:
        break;
    }
    return status;
}

double Waveform::width(qsizetype bars) {
    return static_cast<double>(bars) * (barWidth + barGap) - barGap;
}

QList<CardFill> Waveform::present() const {
    QList<CardFill> shapes;
    shapes.reserve(bars.size());
    const auto last = static_cast<double>(std::max<qsizetype>(bars.size(), 2) - 1);
    for (qsizetype i = 0; i < bars.size(); ++i) {
        const double value = std::clamp(bars[i], 0.0, 1.0);
        const double taper = static_cast<double>(i) / last * 0.65 + 0.35;
        const double height = minHeight + value * (maxHeight - minHeight) * taper;
        QColor color = Look::panelText;
        constexpr double steps = 32; // few enough colours to fill many bars at once
        color.setAlphaF(static_cast<float>(std::round((value * 0.4 + 0.55) * steps) / steps));
        shapes.append({QRectF(static_cast<double>(i) * (barWidth + barGap),
                              (maxHeight - height) / 2, barWidth, height),
                       barWidth / 2, color});
    }
    return shapes;
}

void RecordingBadge::addTo(CardRow& row, const QPointF& at) {
    row.fills.append({QRectF(at, QSizeF(badge, badge)), badge / 2, Look::red});
    constexpr double inset = 4;
    row.symbols.append({Symbol::microphone,
                        QRectF(at, QSizeF(badge, badge)).adjusted(inset, inset, -inset, -inset),
                        Qt::white});
}

CardRow statusRow(const StatusInput& input) {
    switch (input.state.state) {
    case DictationState::listening:
        return listening(input);
    case DictationState::transcribing:
        return phrase(
            Words::shown(Word::transcribing),
            {Symbol::progress, {}, Look::panelText, 1, std::fmod(input.clock / progressTurn, 1.0)});
    case DictationState::enhancing:
        return phrase(Words::shown(Word::enhancing),
                      {Symbol::wand,
                       {},
                       Look::amber,
                       1,
                       input.still ? 0.2 : std::fmod(input.clock / wandTwinkle, 1.0)});
    case DictationState::delivered:
        return phrase(Words::shown(Word::inserted), {Symbol::check, {}, Look::green});
    case DictationState::failed:
        return failure(input.state.message);
    case DictationState::idle:
        break;
    }
    return {};
}

} // namespace murlo
