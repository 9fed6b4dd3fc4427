#pragma once

#include <QString>

#include <vector>

namespace murlo {

/// The application's own short sounds, made from scratch: one channel, `toneSampleRate` samples per
/// second, peak 0.5, from silence to silence; empty when there is none of this name. They tell
/// themselves apart by register and gesture, so that they do on a laptop's speakers too: "Tink" is
/// a small high bell, "Pop" a short rising blip, "Bottle" a hollow tone that sinks, "Basso" two low
/// notes, the second lower. Any thread.
[[nodiscard]] std::vector<float> makeTone(const QString& name);

inline constexpr int toneSampleRate = 48000;

} // namespace murlo
