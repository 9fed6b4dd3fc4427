#pragma once

#include <QByteArray>
#include <QString>

namespace murlo {

/// Where a letter is on a keyboard, as XKB names the place ("AC01" for A); empty for others.
[[nodiscard]] QByteArray keyOf(QChar letter);

/// The label that a scan of this desktop gives to the largest box of process `pid` or of one that
/// it started; empty when it finds none. Main thread.
[[nodiscard]] QString letterOnBoxOf(qint64 pid);

} // namespace murlo
