#pragma once

#include <QString>

namespace murlo {

/// Writes a picture of the whole screen into the PNG file `file`; false when that failed. Needs a
/// Qt application on the display. Main thread.
[[nodiscard]] bool saveScreenshot(const QString& file);

} // namespace murlo
