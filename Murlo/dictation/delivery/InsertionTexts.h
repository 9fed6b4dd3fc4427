#pragma once

#include <QString>

namespace murlo::InsertionTexts {

inline const QString nothingTranscribed = QStringLiteral("Nothing was transcribed.");
inline const QString copyOnly = QStringLiteral("Copy-only mode is on.");
inline const QString noTextBox =
    QStringLiteral("No text box has focus. Click into one and paste with ⌘V.");
inline const QString noKeys =
    QStringLiteral("Keys can't be sent to other programs, so the text was copied instead.");

} // namespace murlo::InsertionTexts
