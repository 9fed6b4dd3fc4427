#pragma once

#include "MurloKit/DictationState.h"
#include "MurloKit/SetupReadiness.h"
#include "MurloKit/TriggerKey.h"

namespace murlo {

/// An exercise of the wizard: dictating into its box, or choosing the box by its letter. A value.
struct Practice {
    enum Kind { dictation, pick };

    Kind kind = dictation;
    QString text;          ///< in the box
    bool clicked = false;  ///< the box got the keyboard focus
    bool started = false;  ///< a dictation began
    bool summoned = false; ///< letters were shown
    bool picked = false;   ///< the box was chosen
    bool pickedElsewhere = false;

    /// From 0, nothing yet, to 3: the box holds text.
    [[nodiscard]] int step() const;
    /// What is to be done now; bold between double asterisks. `trigger` is the name of the
    /// exercise's key.
    [[nodiscard]] Message instruction(const SetupReadiness& readiness, DictationState::Case state,
                                      const QString& trigger) const;

    friend bool operator==(const Practice&, const Practice&) = default;
};

} // namespace murlo
