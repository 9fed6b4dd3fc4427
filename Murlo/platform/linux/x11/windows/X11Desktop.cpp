#include "platform/linux/x11/windows/X11Desktop.h"

#include "platform/linux/freedesktop/OpenFile.h"

namespace murlo {

X11Desktop::X11Desktop(std::shared_ptr<RootWatch> watch)
    : m_watch(std::move(watch)) {
    connect(&m_motion, &MotionPreference::changed, this, &Desktop::changed);
    m_trayWatch.onTray = [this] { trayFound(); };
    // One selection per X screen; today's sessions have a single X screen.
    const auto oldTray = QStringLiteral("_NET_SYSTEM_TRAY_S0");
    connect(m_watch.get(), &RootWatch::ownerChanged, this,
            [this, oldTray](const QString& selection, bool owned) {
                if (selection == oldTray && owned) trayFound();
            });
    m_hasTray = m_watch->follow(oldTray);
}

void X11Desktop::awaitTray(std::function<void()> there) {
    m_onTray = std::move(there);
    if (m_hasTray) trayFound();
}

void X11Desktop::trayFound() {
    m_hasTray = true;
    if (const auto there = std::exchange(m_onTray, {})) there();
}

void X11Desktop::open(const QString& path, std::function<void(bool)> done) {
    openFile(path, std::move(done));
}

} // namespace murlo
