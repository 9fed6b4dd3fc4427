#include "platform/linux/x11/windows/X11Desktop.h"

#include "platform/linux/freedesktop/OpenFile.h"

#include <xcb/xfixes.h>

namespace murlo {

X11Desktop::X11Desktop()
    : m_atoms(m_connection) {
    connect(&m_motion, &MotionPreference::changed, this, &Desktop::changed);
    m_trayWatch.onTray = [this] { trayFound(); };
    if (!m_connection.isAlive()) return;
    const quint32 mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(m_connection, m_connection.root(), XCB_CW_EVENT_MASK, &mask);
    m_stacking = m_atoms.atom(QStringLiteral("_NET_CLIENT_LIST_STACKING"));
    // Requests of an extension fail until its version has been agreed on.
    std::ignore = m_connection.reply(xcb_xfixes_query_version_reply,
                                     xcb_xfixes_query_version(m_connection, 5, 0));
    // One of each per screen; sessions of today have the one screen.
    m_compositor = m_atoms.atom(QStringLiteral("_NET_WM_CM_S0"));
    m_oldTray = m_atoms.atom(QStringLiteral("_NET_SYSTEM_TRAY_S0"));
    m_composited = watchSelection(m_compositor);
    m_hasTray = watchSelection(m_oldTray);
    xcb_flush(m_connection);
    m_notifier = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(m_connection),
                                                   QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                     [this] { readEvents(); });
    readEvents(); // what came along with the answers above rings no bell
}

X11Desktop::~X11Desktop() = default;

bool X11Desktop::watchSelection(xcb_atom_t selection) {
    const auto* fixes = xcb_get_extension_data(m_connection, &xcb_xfixes_id);
    if (fixes && fixes->present) {
        m_fixesEvent = fixes->first_event;
        xcb_xfixes_select_selection_input(
            m_connection, m_connection.root(), selection,
            XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    }
    const auto owner = m_connection.reply(xcb_get_selection_owner_reply,
                                          xcb_get_selection_owner(m_connection, selection));
    return owner && owner->owner != XCB_WINDOW_NONE;
}

void X11Desktop::selectionChanged(xcb_atom_t selection, bool owned) {
    if (selection == m_oldTray && owned) trayFound();
    if (selection != m_compositor) return;
    if (std::exchange(m_composited, owned) != owned) Q_EMIT changed();
}

void X11Desktop::readEvents() {
    bool restacked = false;
    while (const auto event = m_connection.nextEvent()) {
        const auto type = event->response_type & 0x7F;
        if (type == XCB_PROPERTY_NOTIFY) {
            const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(*event);
            restacked = restacked || change.atom == m_stacking;
        } else if (m_fixesEvent != 0 && type == m_fixesEvent + XCB_XFIXES_SELECTION_NOTIFY) {
            const auto& change =
                reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(*event);
            selectionChanged(change.selection, change.owner != XCB_WINDOW_NONE);
        }
    }
    if (restacked) restack();
    // A lost server would ring for ever.
    if (!m_connection.isAlive()) m_notifier->setEnabled(false);
}

void X11Desktop::keepAbove(quint64 window, PanelLevel level) {
    m_panels[static_cast<quint32>(window)] = level;
    // Its owner's request to make it may still be on the way: no reason to forget it.
    std::ignore = raisePanels();
}

void X11Desktop::letGo(quint64 window) {
    m_panels.erase(static_cast<quint32>(window));
}

void X11Desktop::restack() {
    for (const quint32 gone : raisePanels()) m_panels.erase(gone);
}

std::vector<quint32> X11Desktop::raisePanels() {
    std::vector<quint32> failed;
    for (const PanelLevel level : {PanelLevel::card, PanelLevel::hints}) {
        for (const auto& [window, ofWindow] : m_panels) {
            if (ofWindow != level) continue;
            const quint32 above = XCB_STACK_MODE_ABOVE;
            const XcbPointer<xcb_generic_error_t> error(xcb_request_check(
                m_connection, xcb_configure_window_checked(m_connection, window,
                                                           XCB_CONFIG_WINDOW_STACK_MODE, &above)));
            if (error) failed.push_back(window);
        }
    }
    return failed;
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
