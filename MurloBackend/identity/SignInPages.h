#pragma once

#include "MurloBackend/http/Messages.h"

#include <QList>
#include <QString>

#include <utility>

namespace murlo::backend {

/// The pages of the one-click sign-in: whole HTML documents without anything from elsewhere and
/// without scripts, in light and dark, whose headers allow neither framing nor caching. Any thread.
namespace SignInPages {

/// What the page with the button shows.
struct Form {
    QString email;                             ///< put into the field
    QString notice;                            ///< a sentence above the field, or empty
    bool remotePolish = false;                 ///< dictated texts may leave the computer
    QList<std::pair<QString, QString>> hidden; ///< fields that travel with it
};
/// "Sign in to Murlo", with status 200, or 400 when there is a notice.
[[nodiscard]] Reply form(const Form& shown);
/// "You are signed in": opens `link`, the way back to Murlo, by itself and by a button.
[[nodiscard]] Reply signedIn(const QString& link);
/// Says in a sentence why there is nothing to sign in to; it leads nowhere.
[[nodiscard]] Reply refusal(int status, const QString& sentence);

} // namespace SignInPages
} // namespace murlo::backend
