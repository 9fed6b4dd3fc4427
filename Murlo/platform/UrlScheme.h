#pragma once

#include "platform/Port.h"

#include <QString>

#include <functional>

namespace murlo {

/// Addresses of a scheme of our own ("example.app:/path"), which the desktop hands to Murlo as the
/// first argument of a further start (`SingleInstance::onOpenedAgain`). Main thread.
class UrlScheme : public Port {
public:
    /// Makes this program the user's handler for the scheme, and reports on a later turn whether
    /// that worked. Idempotent.
    virtual void claim(const QString& scheme, std::function<void(bool)> done) = 0;
    /// Undoes `claim`: nothing of Murlo handles the scheme for this user any more. Reports on a
    /// later turn whether that is so; it is no error if the scheme was never claimed.
    virtual void release(const QString& scheme, std::function<void(bool)> done) = 0;
};

} // namespace murlo
