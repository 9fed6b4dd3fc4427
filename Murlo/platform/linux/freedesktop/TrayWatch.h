#pragma once

#include <QObject>

#include <functional>

namespace murlo {

/// Waits for a tray that takes StatusNotifierItems over the session bus: a StatusNotifierWatcher
/// with a registered host. Main thread.
class TrayWatch : public QObject {
    Q_OBJECT

public:
    /// Called once, when the first tray is found.
    std::function<void()> onTray;

    TrayWatch();

private Q_SLOTS:
    void ask();
    void hostRegistered();

private:
    bool m_seen = false;
};

} // namespace murlo
