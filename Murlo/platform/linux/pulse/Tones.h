#pragma once

#include <QString>

#include <vector>

namespace murlo {

/// The application's own short sounds, synthesised: one channel, `toneSampleRate` samples per
/// second, peak 0.5, starting and ending in silence; empty for an unknown name. They differ in
/// register and contour, so that they can be told apart on a laptop's speakers too: "Tink" is a
/// small high bell, "Pop" a short rising blip, "Bottle" a hollow tone that sinks, "Basso" two low
/// notes, the second lower. Any thread.
[[nodiscard]] std::vector<float> makeTone(const QString& name);

inline constexpr int toneSampleRate = 48000;

} // namespace murlo
