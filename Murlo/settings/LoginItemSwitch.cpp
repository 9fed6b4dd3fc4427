#include "settings/LoginItemSwitch.h"

#include "platform/LoginItem.h"
#include "support/Log.h"

namespace murlo {

bool setLoginItem(LoginItem& item, bool enabled) {
    const auto done = item.setEnabled(enabled);
    const QString what = enabled ? QStringLiteral("register") : QStringLiteral("unregister");
    Log::write(done ? QStringLiteral("login item: %1ed").arg(what)
                    : QStringLiteral("login item: %1 failed: %2").arg(what, done.error()));
    return done.has_value();
}

} // namespace murlo
