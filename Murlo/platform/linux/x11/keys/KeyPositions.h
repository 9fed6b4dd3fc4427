#pragma once

#include "MurloKit/TriggerKey.h"

#include <QByteArray>
#include <QtGlobal>

namespace murlo {

/// What a key is by its position on the keyboard, independent of the layout.
struct KeyPosition {
    qint64 keyCode = -1;    ///< virtual key code of an ANSI/ISO keyboard; -1 for other keys
    quint32 sideFlag = 0;   ///< device-dependent bit of a modifier key
    quint32 familyFlag = 0; ///< device-independent bit of a modifier key
    bool isModifier = false;
};

/// The position that XKB calls by this name ("LFSH", "AC01", …), as the key-code rules of the
/// server name keys.
[[nodiscard]] KeyPosition keyPosition(const QByteArray& name);

/// What the key at this position types on a US keyboard without modifiers; 0 for none. Fallback for
/// layouts without Latin letters.
[[nodiscard]] char usCharacter(const QByteArray& name);
/// The same for a virtual key code.
[[nodiscard]] char usCharacter(qint64 keyCode);

} // namespace murlo
