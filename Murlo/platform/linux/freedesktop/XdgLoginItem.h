#pragma once

#include "platform/LoginItem.h"

namespace murlo {

/// The login item as an entry "murlo.desktop" in the user's XDG autostart folder.
class XdgLoginItem : public LoginItem {
public:
    /// `configFolder` is $XDG_CONFIG_HOME (or ~/.config); `program` the full path that is started.
    XdgLoginItem(const QString& configFolder, QString program);

    [[nodiscard]] bool isEnabled() const override;
    [[nodiscard]] tl::expected<void, QString> setEnabled(bool enabled) override;

private:
    QString m_entry;
    QString m_program;
};

} // namespace murlo
