#pragma once

#include <QByteArray>

namespace murlo::MimeApps {

// The text of a user's mimeapps.list, which names the programs that open each type. Lines that are
// not at issue are kept to the byte.

/// Whether the desktop entry `id` is the first choice for the type.
[[nodiscard]] bool isDefault(const QByteArray& text, const QByteArray& type, const QByteArray& id);
/// The text with the desktop entry as the only choice for the type.
[[nodiscard]] QByteArray withDefault(const QByteArray& text, const QByteArray& type,
                                     const QByteArray& id);
/// The text without the desktop entry, as default or as added program, for the type.
[[nodiscard]] QByteArray without(const QByteArray& text, const QByteArray& type,
                                 const QByteArray& id);

} // namespace murlo::MimeApps
