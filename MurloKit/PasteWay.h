#pragma once

#include <QString>

#include <optional>

namespace murlo {

/// What a program pastes the clipboard with.
enum class PasteWay {
    controlV,
    controlShiftV,
    shiftInsert,
    typing, ///< with no chord at all: the text is typed into it
};

/// As written in the settings: "ctrl+v", "ctrl+shift+v", "shift+insert" or "type", in any case.
[[nodiscard]] std::optional<PasteWay> pasteWayFromRawValue(const QString& rawValue);

} // namespace murlo
