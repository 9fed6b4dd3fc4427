#include "overlay/CardMotion.h"

#include "overlay/StatusRow.h"

#include <algorithm>

namespace murlo {

using namespace CardMetrics;

namespace {

/// Which states show the words that were recognised.
bool showsWords(const DictationState& state) {
    return state.state != DictationState::idle && state.state != DictationState::failed;
}

} // namespace

void CardMotion::update(const OverlayModel& model, const Motions& motions) {
    m_still = motions.reduced;
    // A card that appears has its final size and content at once; only its entry is animated.
    const bool hidden = m_presented.value() <= 0 && !model.isPresented();
    m_presented.moveTo(model.isPresented() ? 1 : 0, motions.state);
    if (hidden) {
        m_rows.clear();
        m_transcript.clear();
        m_words.clear();
    }
    takeUpState(model, motions);
    const QList<double>& bars = model.bars();
    m_bars.resize(static_cast<std::size_t>(bars.size()));
    for (qsizetype i = 0; i < bars.size(); ++i)
        m_bars[static_cast<std::size_t>(i)].moveTo(bars[i], motions.bars);
    m_elapsed = model.elapsed();
    takeUpSize(motions, hidden);
}

void CardMotion::takeUpState(const OverlayModel& model, const Motions& motions) {
    const DictationState& state = model.state();
    if (state.state == DictationState::idle) return; // the card keeps its content while it leaves
    // The row does not show the delivered text.
    const auto same = [](const DictationState& a, const DictationState& b) {
        return a.state == b.state && (a.state != DictationState::failed || a.message == b.message);
    };
    if (m_rows.empty() || !same(m_rows.back().state, state)) {
        const bool first = m_rows.empty();
        for (Row& row : m_rows) row.opacity.moveTo(0, motions.state);
        m_rows.push_back({state, Animated(first ? 1 : 0)});
        m_rows.back().opacity.moveTo(1, motions.state);
        m_rows.back().size = content(m_rows.back()).size; // fixed while the clock runs
    }
    const QList<TranscriptWord> words = showsWords(state) ? model.words() : QList<TranscriptWord>();
    if (words != m_words) {
        m_words = words;
        m_transcript.setWords(words, motions);
    }
    m_transcript.setDimmed(state.state == DictationState::transcribing, motions);
}

void CardMotion::takeUpSize(const Motions& motions, bool atOnce) {
    if (m_rows.empty()) return;
    const QSizeF row = m_rows.back().size;
    const double transcript = m_transcript.height();
    const double inner = transcript > 0 ? std::max(contentWidth, row.width()) : row.width();
    const auto set = [&](Animated& value, double target) {
        if (atOnce)
            value.jumpTo(target);
        else
            value.moveTo(target, motions.state);
    };
    // An even width, so that the card's edges meet the pixels on both sides of its middle.
    set(m_width, std::ceil((inner + 2 * paddingAcross) / 2) * 2);
    set(m_rowHeight, row.height());
    set(m_transcriptHeight, transcript);
    set(m_transcriptGap, transcript > 0 ? transcriptGap : 0);
}

void CardMotion::advance(double seconds) {
    for (Animated* value :
         {&m_presented, &m_width, &m_rowHeight, &m_transcriptHeight, &m_transcriptGap})
        value->advance(seconds);
    for (Animated& bar : m_bars) bar.advance(seconds);
    for (Row& row : m_rows) {
        row.opacity.advance(seconds);
        row.since += seconds;
    }
    if (m_rows.size() > 1) {
        m_rows.erase(std::remove_if(m_rows.begin(), m_rows.end() - 1,
                                    [](const Row& row) {
                                        return row.opacity.isSettled() && row.opacity.value() <= 0;
                                    }),
                     m_rows.end() - 1);
    }
    m_transcript.advance(seconds);
}

bool CardMotion::movesInPlace() const {
    if (m_presented.value() <= 0) return false; // unseen
    const bool turns = std::ranges::any_of(m_rows, [&](const Row& row) {
        return row.state.state == DictationState::transcribing ||
               (row.state.state == DictationState::enhancing && !m_still);
    });
    return turns ||
           std::ranges::any_of(m_bars, [](const Animated& bar) { return !bar.isSettled(); });
}

bool CardMotion::movesAsAWhole() const {
    const auto moves = [](const Animated& value) { return !value.isSettled(); };
    if (moves(m_presented)) return true;
    if (m_presented.value() <= 0) return false; // unseen
    if (moves(m_width) || moves(m_rowHeight) || moves(m_transcriptHeight) ||
        moves(m_transcriptGap) || m_transcript.isMoving())
        return true;
    return std::ranges::any_of(m_rows, [&](const Row& row) { return moves(row.opacity); });
}

CardRow CardMotion::content(const Row& row) const {
    StatusInput input;
    input.state = row.state;
    for (const Animated& bar : m_bars) input.bars.append(bar.value());
    input.elapsed = m_elapsed;
    input.clock = row.since;
    input.still = m_still;
    return statusRow(input);
}

CardRecord CardMotion::present() const {
    CardRecord record;
    const double shown = std::clamp(m_presented.value(), 0.0, 1.0);
    record.opacity = shown;
    if (shown <= 0 || m_rows.empty()) return record;
    if (!m_still) {
        record.scale = entryScale + (1 - entryScale) * shown;
        record.lift = entryLift * (1 - shown);
    }
    const double view = std::max(m_transcriptHeight.value(), 0.0);
    // The headroom of a second line is mostly empty and may reach into the padding.
    const double overlap =
        fadeOverlap * std::clamp((view - oneLine) / (twoLines - oneLine), 0.0, 1.0);
    const double gap = std::max(m_transcriptGap.value(), 0.0);
    const double height = 2 * paddingAlong + m_rowHeight.value() + view + gap - overlap;
    const double bottom = panelHeight - shadowBelow;
    record.card =
        QRectF((panelWidth - m_width.value()) / 2, bottom - height, m_width.value(), height);
    record.radius = radius;
    for (const Row& row : m_rows) {
        // The old row fades out before the new one fades in: two overlapping texts are illegible.
        PlacedRow placed{content(row), {}, std::clamp(2 * row.opacity.value() - 1, 0.0, 1.0)};
        placed.origin = {std::round((panelWidth - placed.row.size.width()) / 2),
                         bottom - paddingAlong - placed.row.size.height()};
        record.rows.append(placed);
    }
    const double wordsBottom = bottom - paddingAlong - m_rowHeight.value() - gap;
    const double left = (panelWidth - contentWidth) / 2;
    record.transcript = QRectF(left, wordsBottom - view, contentWidth, view);
    record.fade = m_transcript.hasFade() ? fadeHeight : 0;
    record.words = m_transcript.present({left, wordsBottom});
    return record;
}

} // namespace murlo
