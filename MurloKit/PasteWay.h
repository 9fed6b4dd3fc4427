#pragma once

#include <QString>

#include <optional>

namespace murlo {

/// The key chord with which a program pastes the clipboard.
enum class PasteWay {
    controlV,
    controlShiftV,
    shiftInsert,
    typing, ///< no chord: the text is typed
};

/// As written in the settings: "ctrl+v", "ctrl+shift+v", "shift+insert" or "type", in any case.
[[nodiscard]] std::optional<PasteWay> pasteWayFromRawValue(const QString& rawValue);

} // namespace murlo
