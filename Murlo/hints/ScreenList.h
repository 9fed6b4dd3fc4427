#pragma once

#include "hints/HintOverlay.h"
#include "targets/ScreenGeometry.h"

namespace murlo {

/// The screens as they are now. Main thread, with a Qt GUI application.
[[nodiscard]] QList<HintScreen> hintScreens();
/// The same in the coordinates in which other programs report frames.
[[nodiscard]] ScreenGeometry currentScreens();

} // namespace murlo
