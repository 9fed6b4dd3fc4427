#pragma once

#include "platform/EventTap.h"

namespace murlo {

/// A keyboard in memory. The test presses its keys; handlers are called on the spot, as from a turn
/// of the main loop.
class FakeEventTap : public EventTap {
public:
    bool install(Handlers handlers) override {
        ++installations;
        if (m_refuses) return false;
        m_handlers = std::make_shared<const Handlers>(std::move(handlers));
        m_enabled = true;
        m_filtering = false;
        return true;
    }
    void remove() override {
        m_handlers.reset();
        m_enabled = m_filtering = false;
    }
    void enable() override { m_enabled = isInstalled(); }
    void setFiltering(bool filtering) override { m_filtering = filtering && isInstalled(); }
    [[nodiscard]] InputMonitoringAccess access() const override { return m_access; }
    bool requestAccess() override { return m_access == InputMonitoringAccess::granted; }

    /// Presses a key; true when the focused application got it.
    bool press(qint64 keyCode, const QString& characters = {}, qint64 time = 0) {
        const auto handlers = reporting();
        if (!handlers || !handlers->keyDown) return true;
        const bool filtering = m_filtering;
        return !(handlers->keyDown({keyCode, characters, time}) && filtering);
    }
    /// A modifier key went up or down, with the flags after it.
    void modifier(qint64 keyCode, quint32 flags, qint64 time = 0) {
        if (const auto handlers = reporting(); handlers && handlers->flagsChanged)
            handlers->flagsChanged({keyCode, flags, time});
    }
    /// The system switches the tap off: nothing is reported until `enable`.
    void disable() {
        if (!isInstalled()) return;
        m_enabled = false;
        if (const auto handlers = m_handlers; handlers->disabled) handlers->disabled();
    }
    /// From now on `install` fails.
    void refuseInstall() { m_refuses = true; }
    void setAccess(InputMonitoringAccess access) { m_access = access; }

    [[nodiscard]] bool isInstalled() const { return m_handlers != nullptr; }
    [[nodiscard]] bool isEnabled() const { return m_enabled; }
    [[nodiscard]] bool isFiltering() const { return m_filtering && m_enabled; }

    int installations = 0; ///< calls of `install`

private:
    [[nodiscard]] std::shared_ptr<const Handlers> reporting() const {
        const bool reports = m_enabled && m_access == InputMonitoringAccess::granted;
        return reports ? m_handlers : nullptr;
    }

    std::shared_ptr<const Handlers> m_handlers;
    InputMonitoringAccess m_access = InputMonitoringAccess::granted;
    bool m_refuses = false;
    bool m_enabled = false;
    bool m_filtering = false;
};

} // namespace murlo
