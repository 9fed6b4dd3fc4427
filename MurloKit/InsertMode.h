#pragma once

#include <QString>

namespace murlo {

/// How a finished text reaches the user.
enum class InsertMode { paste, type, clipboardOnly };

/// As stored in the settings.
[[nodiscard]] inline QString rawValue(InsertMode mode) {
    switch (mode) {
    case InsertMode::type:
        return QStringLiteral("type");
    case InsertMode::clipboardOnly:
        return QStringLiteral("clipboardOnly");
    case InsertMode::paste:
        break;
    }
    return QStringLiteral("paste");
}

/// Any text that is no stored form means `paste`.
[[nodiscard]] inline InsertMode insertModeFromRawValue(const QString& raw) {
    if (raw == QLatin1String("type")) return InsertMode::type;
    if (raw == QLatin1String("clipboardOnly")) return InsertMode::clipboardOnly;
    return InsertMode::paste;
}

} // namespace murlo
