#include "platform/linux/x11/X11Desktop.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

#include <xcb/xfixes.h>

namespace murlo {

X11Desktop::X11Desktop()
    : m_atoms(m_connection) {
    m_motion.onChange = [this] {
        if (onChange) onChange();
    };
    if (!m_connection.isAlive()) return;
    const quint32 mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(m_connection, m_connection.root(), XCB_CW_EVENT_MASK, &mask);
    m_stacking = m_atoms.atom(QStringLiteral("_NET_CLIENT_LIST_STACKING"));
    watchCompositor();
    xcb_flush(m_connection);
    m_notifier = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(m_connection),
                                                   QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                     [this] { readEvents(); });
    readEvents(); // what came along with the answers above rings no bell
}

X11Desktop::~X11Desktop() = default;

void X11Desktop::watchCompositor() {
    // One per screen; sessions of today have the one screen.
    m_compositor = m_atoms.atom(QStringLiteral("_NET_WM_CM_S0"));
    const auto* fixes = xcb_get_extension_data(m_connection, &xcb_xfixes_id);
    const auto version = m_connection.reply(xcb_xfixes_query_version_reply,
                                            xcb_xfixes_query_version(m_connection, 5, 0));
    if (fixes && fixes->present && version) {
        m_fixesEvent = fixes->first_event;
        xcb_xfixes_select_selection_input(
            m_connection, m_connection.root(), m_compositor,
            XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    }
    const auto owner = m_connection.reply(xcb_get_selection_owner_reply,
                                          xcb_get_selection_owner(m_connection, m_compositor));
    m_composited = owner && owner->owner != XCB_WINDOW_NONE;
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
            const bool composited = change.owner != XCB_WINDOW_NONE;
            if (std::exchange(m_composited, composited) != composited && onChange) onChange();
        }
    }
    if (restacked) restack();
    // A lost server would ring for ever.
    if (!m_connection.isAlive()) m_notifier->setEnabled(false);
}

void X11Desktop::keepAbove(quint64 window, PanelLevel level) {
    m_panels[static_cast<quint32>(window)] = level;
    restack();
}

void X11Desktop::letGo(quint64 window) {
    m_panels.erase(static_cast<quint32>(window));
}

void X11Desktop::restack() {
    for (const PanelLevel level : {PanelLevel::card, PanelLevel::hints}) {
        for (auto panel = m_panels.begin(); panel != m_panels.end();) {
            if (panel->second != level) {
                ++panel;
                continue;
            }
            const quint32 above = XCB_STACK_MODE_ABOVE;
            const XcbPointer<xcb_generic_error_t> error(xcb_request_check(
                m_connection, xcb_configure_window_checked(m_connection, panel->first,
                                                           XCB_CONFIG_WINDOW_STACK_MODE, &above)));
            panel = error ? m_panels.erase(panel) : std::next(panel);
        }
    }
}

bool X11Desktop::open(const QString& path) {
    return QFileInfo::exists(path) && QDesktopServices::openUrl(QUrl::fromLocalFile(path));
}

} // namespace murlo
