#pragma once

#include "MurloKit/Message.h"
#include "MurloKit/TriggerKey.h"

class QLocale;

namespace murlo::Words {

/// The words as they were written, in English: for the log, and as the key of every translation.
[[nodiscard]] QString english(const Message& message);
/// The same without what it is about, numbers apart: nothing that anybody said, and no name of a
/// file, gets into a report.
[[nodiscard]] QString forReport(const Message& message);
/// What this desktop's user reads: in their language where there is a translation, and with the
/// names that things have here. For presenters. Main thread.
[[nodiscard]] QString shown(const Message& message);

/// What a trigger key is called.
[[nodiscard]] Word nameOf(TriggerKey key);

/// Has `shown` speak the language of a locale where there is a translation of it. Main thread.
void speak(const QLocale& locale);

} // namespace murlo::Words
