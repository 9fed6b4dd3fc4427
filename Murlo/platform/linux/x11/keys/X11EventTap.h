#pragma once

#include "platform/EventTap.h"
#include "platform/linux/x11/keys/SyntheticKeys.h"

#include <QSocketNotifier>

namespace murlo {

class KeyMailbox;
class KeyReader;

/// `EventTap` on the raw key events of the X server. Keys are identified by their position, so that
/// left and right do not depend on the layout.
class X11EventTap : public EventTap {
public:
    /// `synthetic` is shared with whoever posts key events of this application.
    explicit X11EventTap(std::shared_ptr<SyntheticKeys> synthetic);
    ~X11EventTap() override;

    bool install(Handlers handlers) override;
    void remove() override;
    /// Enumerates the keyboards again and resumes filtering if `setFiltering(true)` is in effect.
    void enable() override;
    /// Takes effect within a millisecond. After false, a key that was swallowed and is still down
    /// stays hidden from applications until it is released.
    void setFiltering(bool filtering) override;

    /// `granted` on any X server that has the extension: X has no permission for it.
    [[nodiscard]] InputMonitoringAccess access() const override;
    bool requestAccess() override { return access() == InputMonitoringAccess::granted; }

private:
    bool startReader();
    void deliver();

    std::shared_ptr<SyntheticKeys> m_synthetic;
    std::shared_ptr<const Handlers> m_handlers;
    std::shared_ptr<KeyMailbox> m_mailbox;
    std::unique_ptr<KeyReader> m_reader;
    std::unique_ptr<QSocketNotifier> m_notifier;
    bool m_filtering = false;
};

} // namespace murlo
