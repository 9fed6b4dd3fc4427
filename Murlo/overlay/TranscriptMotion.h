#pragma once

#include "MurloKit/Motion.h"
#include "overlay/CardMetrics.h"
#include "overlay/CardRecord.h"
#include "overlay/TranscriptTypesetter.h"

#include <vector>

namespace murlo {

/// Animates the live transcript: the last two lines, the line that scrolls out, words that appear
/// and words that were revised. Its origin is the left end of its bottom edge, so that a line stays
/// where it is while the view grows upwards. Main thread.
class TranscriptMotion {
public:
    /// Sets a new list of words. The very first words appear in their final positions.
    void setWords(const QList<TranscriptWord>& words, const CardMetrics::Motions& motions);
    void setDimmed(bool dimmed, const CardMetrics::Motions& motions);
    void clear();
    void advance(double seconds);

    [[nodiscard]] bool isMoving() const;
    /// The height of the view for the present words: none, one line, or two.
    [[nodiscard]] double height() const;
    [[nodiscard]] bool hasFade() const { return m_lines > 1; }
    /// The words as they stand now, `origin` being the left end of the view's bottom edge.
    [[nodiscard]] QList<CardText> present(const QPointF& origin) const;

private:
    struct Word {
        QString id;
        QString text;
        Animated x;
        Animated above; ///< points from its line's top to the view's bottom
        Animated opacity{1};
        Animated hidden; ///< 1 before it has arrived or once it is revised
        bool leaving = false;
        bool still = false; ///< arrives without growing and blurring
    };

    std::vector<Word> m_words;
    int m_lines = 0;
    Animated m_dim;
};

} // namespace murlo
