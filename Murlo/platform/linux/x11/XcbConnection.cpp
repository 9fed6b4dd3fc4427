#include "platform/linux/x11/XcbConnection.h"

#include <algorithm>
#include <mutex>

namespace murlo {

namespace {

/// Never null; a failure is a connection with an error.
xcb_connection_t* connectToDisplay(int* screen) {
    // libXau, which reads the authorisation file, keeps its name in a static buffer.
    static std::mutex oneAtATime;
    const std::lock_guard guard(oneAtATime);
    return xcb_connect(nullptr, screen);
}

} // namespace

QByteArray XcbProperty::bytes() const {
    if (!m_reply) return {};
    return {static_cast<const char*>(xcb_get_property_value(m_reply.get())),
            xcb_get_property_value_length(m_reply.get())};
}

std::vector<quint32> XcbProperty::numbers() const {
    if (bits() != 32) return {};
    const auto* values = static_cast<const quint32*>(xcb_get_property_value(m_reply.get()));
    return {values, values + m_reply->value_len};
}

QList<xcb_atom_t> XcbAtoms::atoms(const QStringList& names) {
    QList<std::pair<QString, xcb_intern_atom_cookie_t>> asked;
    for (const QString& name : names) {
        if (m_atoms.contains(name)) continue;
        const QByteArray bytes = name.toUtf8();
        asked.append({name, xcb_intern_atom(m_connection, 0, static_cast<quint16>(bytes.size()),
                                            bytes.constData())});
    }
    for (const auto& [name, cookie] : asked) {
        const XcbPointer<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(m_connection, cookie, nullptr));
        if (reply) remember(reply->atom, name);
    }
    QList<xcb_atom_t> atoms;
    for (const QString& name : names) atoms.append(m_atoms.value(name, XCB_ATOM_NONE));
    return atoms;
}

QStringList XcbAtoms::names(const QList<xcb_atom_t>& atoms) {
    QList<std::pair<xcb_atom_t, xcb_get_atom_name_cookie_t>> asked;
    for (const xcb_atom_t atom : atoms) {
        if (atom != XCB_ATOM_NONE && !m_names.contains(atom))
            asked.append({atom, xcb_get_atom_name(m_connection, atom)});
    }
    for (const auto& [atom, cookie] : asked) {
        const XcbPointer<xcb_get_atom_name_reply_t> reply(
            xcb_get_atom_name_reply(m_connection, cookie, nullptr));
        if (reply)
            remember(atom, QString::fromUtf8(xcb_get_atom_name_name(reply.get()),
                                             xcb_get_atom_name_name_length(reply.get())));
    }
    QStringList names;
    for (const xcb_atom_t atom : atoms) names.append(m_names.value(atom));
    return names;
}

void XcbAtoms::remember(xcb_atom_t atom, const QString& name) {
    m_atoms.insert(name, atom);
    m_names.insert(atom, name);
}

XcbConnection::XcbConnection()
    : m_connection(connectToDisplay(&m_screen))
    , m_atoms(m_connection) {
    if (!isAlive()) return;
    const auto* setup = xcb_get_setup(m_connection);
    m_screen = std::min(m_screen, xcb_setup_roots_length(setup) - 1);
    auto screens = xcb_setup_roots_iterator(setup);
    for (int left = m_screen; left > 0; --left) xcb_screen_next(&screens);
    m_root = screens.data->root;
}

const xcb_query_extension_reply_t* XcbConnection::extension(xcb_extension_t& extension) const {
    const auto* known = xcb_get_extension_data(m_connection, &extension);
    return known && known->present ? known : nullptr;
}

void XcbConnection::sync() const {
    (void)reply(xcb_get_input_focus_reply, xcb_get_input_focus(m_connection));
}

XcbPointer<xcb_generic_event_t> XcbConnection::nextEvent() const {
    auto event = nextEventOrError();
    while (event && event->response_type == 0) event = nextEventOrError();
    return event;
}

} // namespace murlo
