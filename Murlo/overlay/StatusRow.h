#pragma once

#include "MurloKit/DictationState.h"
#include "overlay/CardRecord.h"

#include <QFont>

namespace murlo {

/// The font behind a name. Main thread, with a Qt GUI application.
[[nodiscard]] const QFont& cardFont(CardFont font);

/// The bars of the last seconds' loudness, newest on the right, tapering towards the past.
struct Waveform {
    QList<double> bars; ///< oldest first, each 0…1
    double minHeight = 0;
    double maxHeight = 0; ///< the height of the whole

    /// The bars as shapes from (0, 0) on.
    [[nodiscard]] QList<CardFill> present() const;
    [[nodiscard]] static double width(qsizetype bars);
};

/// A red disc with a microphone: "this is being recorded".
struct RecordingBadge {
    /// Adds the badge to a row, its top left at `at`.
    static void addTo(CardRow& row, const QPointF& at);
};

/// What the status row of a state depends on.
struct StatusInput {
    DictationState state;
    QList<double> bars; ///< as they are drawn at this moment
    double elapsed = 0; ///< seconds
    double clock = 0;   ///< seconds since the state began, for symbols that move
    bool still = false; ///< symbols keep still
};

/// The status row of a state; empty when it is idle. A long message is broken into lines, as many
/// as the panel has room for.
[[nodiscard]] CardRow statusRow(const StatusInput& input);

} // namespace murlo
