#include "triggers/HotkeyMonitor.h"

#include "settings/Settings.h"
#include "support/Log.h"

namespace murlo {

HotkeyMonitor::HotkeyMonitor(EventTap& tap, Settings& settings)
    : m_tap(tap)
    , m_settings(settings) {}

HotkeyMonitor::~HotkeyMonitor() {
    stop();
}

bool HotkeyMonitor::start() {
    if (m_installed) return true;
    EventTap::Handlers handlers;
    handlers.keyDown = [this](const KeyPress& event) { return handleKeyDown(event); };
    handlers.flagsChanged = [this](const ModifierChange& event) { handleFlagsChanged(event); };
    handlers.disabled = [this] { m_tap.enable(); };
    if (!m_tap.install(std::move(handlers))) {
        Log::write(QStringLiteral("hotkey: tap creation failed (Input Monitoring not granted?)"));
        return false;
    }
    m_installed = true;
    m_live = inputMonitoringGranted();
    if (m_live) {
        logTriggers();
    } else {
        Log::write(QStringLiteral(
            "hotkey: tap installed but Input Monitoring is OFF, no key events will arrive"));
    }
    return true;
}

void HotkeyMonitor::stop() {
    if (m_installed) m_tap.remove();
    m_installed = false;
    m_live = false;
    m_states.clear();
}

void HotkeyMonitor::reload() {
    m_states.clear();
    logTriggers();
}

bool HotkeyMonitor::inputMonitoringGranted() const {
    return m_tap.access() == InputMonitoringAccess::granted;
}

void HotkeyMonitor::logTriggers() const {
    Log::write(QStringLiteral("hotkey: dictate=%1 pick=%2")
                   .arg(label(m_settings.trigger()), label(m_settings.pickTargetTrigger())));
}

void HotkeyMonitor::handleFlagsChanged(const ModifierChange& event) {
    TriggerKey key = m_settings.trigger();
    HotkeyAction action = HotkeyAction::dictate;
    if (info(key).keyCode != event.keyCode) {
        key = m_settings.pickTargetTrigger();
        action = HotkeyAction::pickTarget;
    }
    const TriggerKeyInfo& trigger = info(key);
    if (trigger.keyCode != event.keyCode) {
        // Another modifier: this is not a double tap.
        forgetPendingTaps();
        return;
    }
    if (event.flags & trigger.otherModifiers) {
        // Part of a shortcut. An armed press is forgotten too, so no release is reported for it.
        m_states[event.keyCode] = {};
        return;
    }
    if (event.flags & trigger.deviceFlag) {
        keyWentDown(event.keyCode, action, event.time);
    } else {
        keyWentUp(event.keyCode, action, event.time);
    }
}

void HotkeyMonitor::keyWentDown(qint64 keyCode, HotkeyAction action, qint64 at) {
    TapState& state = m_states[keyCode];
    const qint64 window = std::llround(1000 * m_settings.number(SettingKey::doubleTapWindow));
    if (state.lastTapUp && at - *state.lastTapUp <= window) {
        state = {.lastTapUp = {}, .currentDownAt = at, .armedDownAt = at};
        if (onDoubleTap) onDoubleTap(action);
        return;
    }
    state = {.lastTapUp = state.lastTapUp, .currentDownAt = at, .armedDownAt = {}};
}

void HotkeyMonitor::keyWentUp(qint64 keyCode, HotkeyAction action, qint64 at) {
    TapState& state = m_states[keyCode];
    const TapState before = std::exchange(state, {});
    if (before.armedDownAt) {
        if (onTriggerUp) onTriggerUp(action, static_cast<double>(at - *before.armedDownAt) / 1000);
        return;
    }
    if (before.currentDownAt && at - *before.currentDownAt <= maxTapDuration) state.lastTapUp = at;
}

bool HotkeyMonitor::handleKeyDown(const KeyPress& event) {
    if (keyInterceptor && keyInterceptor(event.characters, event.keyCode)) return true;
    if (event.keyCode == escapeKeyCode && onEscape) onEscape();
    forgetPendingTaps();
    // A letter typed with the trigger key held makes it a shift, not a tap: two capital letters in
    // quick succession are no double tap.
    for (auto& entry : m_states) {
        if (!entry.second.armedDownAt) entry.second.currentDownAt.reset();
    }
    return false;
}

void HotkeyMonitor::forgetPendingTaps() {
    for (auto& entry : m_states) entry.second.lastTapUp.reset();
}

} // namespace murlo
