#pragma once

#include <QObject>

#include <functional>

namespace murlo {

/// Waits for a tray that takes StatusNotifierItems over the session bus: a watcher that has a host.
/// Main thread.
class TrayWatch : public QObject {
    Q_OBJECT

public:
    /// There is one; called once, when the first has been seen.
    std::function<void()> onTray;

    TrayWatch();

private Q_SLOTS:
    void ask();
    void hostRegistered();

private:
    bool m_seen = false;
};

} // namespace murlo
