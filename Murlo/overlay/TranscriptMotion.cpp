#include "overlay/TranscriptMotion.h"

#include "look/Look.h"

#include <algorithm>

namespace murlo {

using namespace CardMetrics;

namespace {

constexpr int visibleLines = 2;
constexpr int keptLines = 3; ///< one more than is seen, so that it can move out

QColor mixed(const QColor& from, const QColor& to, double part) {
    const auto blend = [part](float a, float b) {
        return a + (b - a) * static_cast<float>(std::clamp(part, 0.0, 1.0));
    };
    return QColor::fromRgbF(blend(from.redF(), to.redF()), blend(from.greenF(), to.greenF()),
                            blend(from.blueF(), to.blueF()), blend(from.alphaF(), to.alphaF()));
}

/// Whether a text is read from right to left: its first letter with a direction tells.
bool readsFromTheRight(const QList<TranscriptWord>& words) {
    for (const TranscriptWord& word : words) {
        for (const QChar c : word.text) {
            const QChar::Direction direction = c.direction();
            if (direction == QChar::DirR || direction == QChar::DirAL) return true;
            if (direction == QChar::DirL) return false;
        }
    }
    return false;
}

} // namespace

void TranscriptMotion::setWords(const QList<TranscriptWord>& words, const Motions& motions) {
    QList<PlacedWord> placed = TranscriptTypesetter::layout(words, contentWidth);
    if (readsFromTheRight(words)) {
        for (PlacedWord& word : placed)
            word.x = contentWidth - word.x - TranscriptTypesetter::width(word.text);
    }
    const int last = placed.isEmpty() ? 0 : placed.last().line;
    m_lines = placed.isEmpty() ? 0 : last + 1;
    std::vector<Word> before = std::move(m_words);
    m_words.clear();
    for (const PlacedWord& place : placed) {
        const int up = last - place.line; // lines above the last
        if (up >= keptLines) continue;
        const double above = (up + 1) * lineHeight;
        const double opacity = up < visibleLines ? 1 : 0;
        const auto known = std::ranges::find_if(
            before, [&](const Word& word) { return !word.leaving && word.id == place.id; });
        if (known != before.end()) {
            Word word = std::move(*known);
            before.erase(known);
            word.x.moveTo(place.x, motions.words);
            word.above.moveTo(above, motions.words);
            word.opacity.moveTo(opacity, motions.words);
            m_words.push_back(std::move(word));
        } else {
            // It joins its line, also when that is on its way.
            const auto beside = std::ranges::find_if(m_words, [&](const Word& word) {
                return word.above.target() == above && !word.above.isSettled();
            });
            Word word{place.id,
                      place.text,
                      Animated(place.x),
                      beside == m_words.end() ? Animated(above) : beside->above,
                      Animated(opacity),
                      Animated(1),
                      false,
                      motions.reduced};
            word.hidden.moveTo(0, motions.words);
            m_words.push_back(std::move(word));
        }
    }
    // Revised words fade out in place; words that scrolled out of view are removed.
    for (Word& word : before) {
        if (!word.leaving && word.above.target() > visibleLines * lineHeight) continue;
        word.leaving = true;
        word.still = true;
        word.hidden.moveTo(1, motions.words);
        m_words.push_back(std::move(word));
    }
}

void TranscriptMotion::setDimmed(bool dimmed, const Motions& motions) {
    m_dim.moveTo(dimmed ? 1 : 0, motions.state);
}

void TranscriptMotion::clear() {
    m_words.clear();
    m_lines = 0;
    m_dim.jumpTo(0);
}

void TranscriptMotion::advance(double seconds) {
    m_dim.advance(seconds);
    for (Word& word : m_words) {
        for (Animated* value : {&word.x, &word.above, &word.opacity, &word.hidden})
            value->advance(seconds);
    }
    std::erase_if(m_words,
                  [](const Word& word) { return word.leaving && word.hidden.isSettled(); });
}

bool TranscriptMotion::isMoving() const {
    return !m_dim.isSettled() || std::ranges::any_of(m_words, [](const Word& word) {
        return !(word.x.isSettled() && word.above.isSettled() && word.opacity.isSettled() &&
                 word.hidden.isSettled());
    });
}

double TranscriptMotion::height() const {
    if (m_lines == 0) return 0;
    return m_lines == 1 ? oneLine : twoLines;
}

QList<CardText> TranscriptMotion::present(const QPointF& origin) const {
    QList<CardText> texts;
    const QColor color = mixed(Look::panelText, Look::panelDim, m_dim.value());
    for (const Word& word : m_words) {
        const double hidden = std::clamp(word.hidden.value(), 0.0, 1.0);
        CardText text;
        text.opacity = std::clamp(word.opacity.value(), 0.0, 1.0) * (1 - hidden);
        if (text.opacity <= 0) continue;
        text.text = word.text;
        text.font = CardFont::words;
        text.baseline = origin + QPointF(word.x.value(), wordBaseline - word.above.value());
        text.color = color;
        if (!word.still) {
            text.scale = 1 - (1 - arrivalScale) * hidden;
            text.blur = arrivalBlur * hidden;
        }
        texts.append(text);
    }
    return texts;
}

} // namespace murlo
