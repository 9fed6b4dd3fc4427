#pragma once

#include "MurloKit/Message.h"
#include "MurloKit/TriggerKey.h"

class QLocale;

namespace murlo::Words {

/// The words as they were written, in English: for the log, and as the key of every translation.
[[nodiscard]] QString english(const Message& message);
/// The same without arguments except numbers, so that no dictated text and no file name gets into a
/// report.
[[nodiscard]] QString forReport(const Message& message);
/// The text for the user: translated if possible, and with this desktop's terms. For presenters.
/// Main thread.
[[nodiscard]] QString shown(const Message& message);

/// What a trigger key is called.
[[nodiscard]] Word nameOf(TriggerKey key);

/// Sets the language of `shown` to a locale's, if there is a translation. Main thread.
void speak(const QLocale& locale);

} // namespace murlo::Words
