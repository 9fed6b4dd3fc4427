#pragma once

#include <QString>

#include <functional>

namespace murlo {

/// A message with buttons, for the user.
struct Alert {
    QString message;
    QString details;
    QString button; ///< the default one
    QString cancel; ///< of a second button; empty without one

    friend bool operator==(const Alert&, const Alert&) = default;
};

/// Shows an alert in front of everything; `answered` is called on a later turn with whether its
/// default button was pressed. Main thread.
using ShowAlert = std::function<void(const Alert&, std::function<void(bool)> answered)>;

} // namespace murlo
