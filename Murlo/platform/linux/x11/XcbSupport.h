#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace murlo {

struct XcbFree {
    void operator()(void* memory) const { std::free(memory); }
};

/// A reply or event of the server; null when the request failed or the connection is lost.
template <typename T>
using XcbPointer = std::unique_ptr<T, XcbFree>;

/// The names and numbers of atoms on one connection, asked for once. For the thread that owns the
/// connection.
class XcbAtoms {
public:
    explicit XcbAtoms(xcb_connection_t* connection)
        : m_connection(connection) {}

    /// The atom of this name, made if need be; XCB_ATOM_NONE when the connection is lost.
    [[nodiscard]] xcb_atom_t atom(const QString& name);
    /// The names of the atoms, unknown ones asked for together; empty for what is no atom.
    [[nodiscard]] QList<QString> names(const QList<xcb_atom_t>& atoms);
    [[nodiscard]] QString name(xcb_atom_t atom) { return names({atom}).first(); }

private:
    xcb_connection_t* m_connection;
    QHash<QString, xcb_atom_t> m_atoms;
    QHash<xcb_atom_t, QString> m_names;
};

} // namespace murlo
