#pragma once

#include "MurloKit/Message.h"

#include <QString>

namespace murlo {

/// What the account's row of a window depends on.
struct AccountFacts {
    bool signedIn = false;
    bool signingIn = false;
    bool lacksKey = false;   ///< signed in, but only a new sign-in brings what is missing
    QString email = {};      ///< may be unknown although somebody is signed in
    QString provider = {};   ///< the identity provider's name; empty for the computer's own page
    QString remoteHost = {}; ///< of the backend; empty when it is on this computer
    Message trouble =
        {}; ///< why a sign-in failed, the account was signed out, or there is no backend
    bool enhance = false;
};

/// What the row shows: where the account stands, and what can be done about it.
struct AccountRecord {
    QString status;
    QString detail;
    bool isTrouble = false; ///< of `detail`
    QString button;         ///< signs in or out
    bool buttonWorks = true;
    bool offersEnhance = false; ///< the switch is there
    bool enhance = false;       ///< it is on

    friend bool operator==(const AccountRecord&, const AccountRecord&) = default;
};

/// The row for these facts. Main thread.
[[nodiscard]] AccountRecord presentAccount(const AccountFacts& facts);

} // namespace murlo
