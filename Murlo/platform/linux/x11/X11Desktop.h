#pragma once

#include "platform/Desktop.h"
#include "platform/linux/freedesktop/MotionPreference.h"
#include "platform/linux/x11/XcbConnection.h"

#include <QSocketNotifier>

#include <map>

namespace murlo {

/// `Desktop` on an X server: the compositing manager by its selection, stacking on a connection of
/// its own, whenever the window manager has changed the order.
class X11Desktop : public Desktop {
public:
    X11Desktop();
    ~X11Desktop() override;

    [[nodiscard]] bool reducesMotion() const override { return m_motion.isReduced(); }
    [[nodiscard]] bool isComposited() const override { return m_composited; }
    void keepAbove(quint64 window, PanelLevel level) override;
    void letGo(quint64 window) override;
    bool open(const QString& path) override;

private:
    void readEvents();
    void watchCompositor();
    void restack();

    XcbConnection m_connection;
    XcbAtoms m_atoms;
    xcb_atom_t m_compositor = XCB_ATOM_NONE; ///< the selection a compositing manager owns
    xcb_atom_t m_stacking = XCB_ATOM_NONE;
    quint8 m_fixesEvent = 0;
    bool m_composited = false;
    std::map<quint32, PanelLevel> m_panels;
    MotionPreference m_motion;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace murlo
