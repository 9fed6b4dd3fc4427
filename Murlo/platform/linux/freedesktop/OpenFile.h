#pragma once

#include <QString>

#include <functional>

namespace murlo {

/// Opens a file, by its full path, or an address with the desktop's own opener and reports on a
/// later turn whether that found a program for it. An opener that keeps running (some run the
/// program themselves) counts as success. What was opened outlives this program. Main thread.
void openFile(const QString& target, std::function<void(bool)> done);

} // namespace murlo
