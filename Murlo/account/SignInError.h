#pragma once

#include "MurloKit/Message.h"

#include <QString>

namespace murlo {

/// Why a sign-in came to nothing.
struct SignInError {
    enum Kind {
        cancelled,     ///< by its user, by the end of the program, or because nothing came of it
        badResponse,   ///< the provider's answer is none that can be used
        failedToStart, ///< no browser could be opened, or no sign-in page is there for it
        portTaken,     ///< another user of this computer listens where the backend would
        transport      ///< the provider's token endpoint was not reached
    };

    Kind kind = cancelled;
    QString words; ///< of `transport`, for the user; without address and content

    /// For the user. `provider` is the identity provider's name; empty for the computer's own page.
    [[nodiscard]] Message message(const QString& provider) const;
};

} // namespace murlo
