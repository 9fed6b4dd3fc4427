#include "platform/linux/x11/windows/RootWatch.h"

#include <xcb/xfixes.h>

namespace murlo {

RootWatch::RootWatch() {
    if (!m_connection.isAlive()) return;
    const quint32 mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(m_connection, m_connection.root(), XCB_CW_EVENT_MASK, &mask);
    m_stacking = m_connection.atom(QStringLiteral("_NET_CLIENT_LIST_STACKING"));
    // Requests of an extension fail until its version has been agreed on.
    std::ignore = m_connection.reply(xcb_xfixes_query_version_reply,
                                     xcb_xfixes_query_version(m_connection, 5, 0));
    if (const auto* fixes = m_connection.extension(xcb_xfixes_id))
        m_fixesEvent = fixes->first_event;
    m_notifier =
        std::make_unique<QSocketNotifier>(m_connection.descriptor(), QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &RootWatch::readEvents);
}

RootWatch::~RootWatch() = default;

bool RootWatch::follow(const QString& selection) {
    if (!m_connection.isAlive()) return false;
    const xcb_atom_t atom = m_connection.atom(selection);
    if (m_fixesEvent != 0)
        xcb_xfixes_select_selection_input(
            m_connection, m_connection.root(), atom,
            XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    const auto owner = m_connection.reply(xcb_get_selection_owner_reply,
                                          xcb_get_selection_owner(m_connection, atom));
    readEvents(); // events read along with the reply do not trigger the notifier
    return owner && owner->owner != XCB_WINDOW_NONE;
}

void RootWatch::readEvents() {
    bool stackChanged = false;
    while (const auto event = m_connection.nextEvent()) {
        const auto type = event->response_type & 0x7F;
        if (type == XCB_PROPERTY_NOTIFY) {
            const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(*event);
            stackChanged = stackChanged || change.atom == m_stacking;
        } else if (m_fixesEvent != 0 && type == m_fixesEvent + XCB_XFIXES_SELECTION_NOTIFY) {
            const auto& change =
                reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(*event);
            Q_EMIT ownerChanged(m_connection.atoms().name(change.selection),
                                change.owner != XCB_WINDOW_NONE);
        }
    }
    if (stackChanged) Q_EMIT restacked();
    // The socket of a lost server stays readable for ever.
    if (!m_connection.isAlive()) m_notifier->setEnabled(false);
}

} // namespace murlo
