#pragma once

#include "platform/Desktop.h"
#include "platform/linux/freedesktop/MotionPreference.h"
#include "platform/linux/freedesktop/TrayWatch.h"
#include "platform/linux/x11/XcbConnection.h"

#include <QSocketNotifier>

#include <map>
#include <vector>

namespace murlo {

/// `Desktop` on an X server: the compositing manager and the old kind of tray by their selections,
/// the new kind on the session bus, stacking on a connection of its own, whenever the window
/// manager has changed the order.
class X11Desktop : public Desktop {
public:
    X11Desktop();
    ~X11Desktop() override;

    [[nodiscard]] bool reducesMotion() const override { return m_motion.isReduced(); }
    [[nodiscard]] bool isComposited() const override { return m_composited; }
    void keepAbove(quint64 window, PanelLevel level) override;
    void letGo(quint64 window) override;
    void awaitTray(std::function<void()> there) override;
    void open(const QString& path, std::function<void(bool)> done) override;

private:
    void readEvents();
    /// Follows a selection; returns whether it has an owner now.
    [[nodiscard]] bool watchSelection(xcb_atom_t selection);
    void selectionChanged(xcb_atom_t selection, bool owned);
    void trayFound();
    void restack();
    /// Puts the panels above all windows, in order; returns those that are not there.
    [[nodiscard]] std::vector<quint32> raisePanels();

    XcbConnection m_connection;
    XcbAtoms m_atoms;
    xcb_atom_t m_compositor = XCB_ATOM_NONE; ///< the selection a compositing manager owns
    xcb_atom_t m_oldTray = XCB_ATOM_NONE;    ///< the selection a tray of the old kind owns
    xcb_atom_t m_stacking = XCB_ATOM_NONE;
    quint8 m_fixesEvent = 0;
    bool m_composited = false;
    bool m_hasTray = false;
    std::function<void()> m_onTray;
    std::map<quint32, PanelLevel> m_panels;
    MotionPreference m_motion;
    TrayWatch m_trayWatch;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace murlo
