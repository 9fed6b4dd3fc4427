#pragma once

#include <QColor>
#include <QFont>

/// The one visual language of everything Murlo draws itself. Lengths are device-independent points.
namespace murlo::Look {

// Dark translucent surfaces that float above other programs: the recording card, the callout.
constexpr QColor panel{24, 24, 28, 238};  ///< with a compositor
constexpr QColor panelOpaque{28, 28, 32}; ///< without one
constexpr QColor panelBorder{255, 255, 255, 36};
constexpr QColor panelText{255, 255, 255, 242}; ///< primary; 14:1 on `panelOpaque`
constexpr QColor panelDim{255, 255, 255, 158};  ///< secondary; 6.5:1 on `panelOpaque`
constexpr QColor shadow{0, 0, 0, 110};

// Signals. Each is readable on both kinds of surface.
constexpr QColor red{255, 69, 58};
constexpr QColor green{48, 209, 88};
constexpr QColor orange{255, 159, 10};
constexpr QColor amber{255, 209, 51};

// Windows: a light theme with one accent.
constexpr QColor accent{10, 100, 235};
constexpr QColor window{246, 246, 248};
constexpr QColor windowText{28, 28, 32};
constexpr QColor windowDim{96, 96, 104};
constexpr QColor windowAlert{176, 32, 24}; ///< 6:1 on `window`

constexpr double hairline = 1;
constexpr double gap = 8;      ///< between neighbours in a row
constexpr double padding = 16; ///< inside a floating surface

// Type scale.
constexpr int caption = 12;
constexpr int body = 13;
constexpr int words = 15; ///< live transcript
constexpr int title = 20;

/// Inter at a size in points, with the desktop's own font for scripts that it lacks. Measure and
/// draw with the same font. Main thread, with a Qt GUI application.
[[nodiscard]] QFont font(int size, QFont::Weight weight = QFont::Normal);

} // namespace murlo::Look
