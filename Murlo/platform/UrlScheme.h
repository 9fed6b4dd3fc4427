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
    /// Undoes every `claim`, those of earlier programs and schemes included: nothing of Murlo
    /// handles any for this user. Reports on a later turn whether that is so; it is no error if
    /// none was ever claimed.
    virtual void release(std::function<void(bool)> done) = 0;
};

} // namespace murlo
