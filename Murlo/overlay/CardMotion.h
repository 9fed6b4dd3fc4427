#pragma once

#include "overlay/CardRecord.h"
#include "overlay/OverlayModel.h"
#include "overlay/TranscriptMotion.h"

#include <vector>

namespace murlo {

/// The recording card in motion: takes up what the model says and turns it, moment by moment, into
/// what there is to draw. It knows no window and no clock. Main thread.
class CardMotion {
public:
    /// Takes up the model as it is now.
    void update(const OverlayModel& model, const CardMetrics::Motions& motions);
    /// Lets time pass.
    void advance(double seconds);
    /// Whether the card will look different in the next moment, nothing new said.
    [[nodiscard]] bool isMoving() const { return movesAsAWhole() || movesInPlace(); }
    /// Whether more than the waveform's bars or a turning symbol will.
    [[nodiscard]] bool movesAsAWhole() const;
    [[nodiscard]] CardRecord present() const;

private:
    struct Row {
        DictationState state;
        Animated opacity;
        double since = 0; ///< seconds it has been there
        QSizeF size = {};
    };

    void takeUpState(const OverlayModel& model, const CardMetrics::Motions& motions);
    void takeUpSize(const CardMetrics::Motions& motions, bool atOnce);
    [[nodiscard]] bool movesInPlace() const;
    [[nodiscard]] CardRow content(const Row& row) const;

    Animated m_presented;
    std::vector<Row> m_rows; ///< the last is the current state's
    std::vector<Animated> m_bars;
    double m_elapsed = 0;
    TranscriptMotion m_transcript;
    QList<TranscriptWord> m_words;
    Animated m_width;
    Animated m_rowHeight;
    Animated m_transcriptHeight;
    Animated m_transcriptGap; ///< below it
    bool m_still = false;
};

} // namespace murlo
