#pragma once

#include "platform/Interruptions.h"
#include "platform/linux/x11/XcbConnection.h"

#include <QObject>
#include <QScreen>
#include <QSocketNotifier>

namespace murlo {

/// `Interruptions` on an X server: raw button presses, the number of the current desktop, and Qt's
/// signals about screens. Main thread.
class X11Interruptions : public QObject, public Interruptions {
    Q_OBJECT

public:
    X11Interruptions();
    ~X11Interruptions() override;
    void setWatching(bool watching) override;

private:
    void watch(const QScreen* screen);
    void interrupted();
    void readEvents();
    void select(bool watching);

    XcbConnection m_connection;
    xcb_atom_t m_desktop = XCB_ATOM_NONE;
    bool m_watching = false;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace murlo
