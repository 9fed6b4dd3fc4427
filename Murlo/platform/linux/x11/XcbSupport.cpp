#include "platform/linux/x11/XcbSupport.h"

namespace murlo {

xcb_atom_t XcbAtoms::atom(const QString& name) {
    if (const auto known = m_atoms.constFind(name); known != m_atoms.constEnd()) return *known;
    const QByteArray bytes = name.toUtf8();
    const auto cookie =
        xcb_intern_atom(m_connection, 0, static_cast<quint16>(bytes.size()), bytes.constData());
    const XcbPointer<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(m_connection, cookie, nullptr));
    if (!reply) return XCB_ATOM_NONE;
    m_atoms.insert(name, reply->atom);
    m_names.insert(reply->atom, name);
    return reply->atom;
}

QList<QString> XcbAtoms::names(const QList<xcb_atom_t>& atoms) {
    QList<std::pair<xcb_atom_t, xcb_get_atom_name_cookie_t>> asked;
    for (const xcb_atom_t atom : atoms) {
        if (atom != XCB_ATOM_NONE && !m_names.contains(atom))
            asked.append({atom, xcb_get_atom_name(m_connection, atom)});
    }
    for (const auto& [atom, cookie] : asked) {
        xcb_generic_error_t* error = nullptr;
        const XcbPointer<xcb_get_atom_name_reply_t> reply(
            xcb_get_atom_name_reply(m_connection, cookie, &error));
        const XcbPointer<xcb_generic_error_t> ignored(error);
        if (!reply) continue;
        const QString name = QString::fromUtf8(xcb_get_atom_name_name(reply.get()),
                                               xcb_get_atom_name_name_length(reply.get()));
        m_names.insert(atom, name);
        m_atoms.insert(name, atom);
    }
    QList<QString> names;
    for (const xcb_atom_t atom : atoms) names.append(m_names.value(atom));
    return names;
}

} // namespace murlo
