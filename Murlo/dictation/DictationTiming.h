#pragma once

#include "dictation/recording/AudioConverter.h"

namespace murlo {

/// Every waiting time of a dictation, in seconds.
namespace DictationTiming {

inline constexpr double elapsedTick = 0.1;     ///< the clock on the card
inline constexpr double previewInterval = 1.1; ///< between two live previews
inline constexpr double previewWindow = 15.0;  ///< audio that a preview transcribes
inline constexpr double enginePoll = 0.1;      ///< while a finished clip waits for the engine
inline constexpr double enginePatience = 30.0; ///< longest such wait
inline constexpr double endNoticed = 1.0;      ///< from a broken connection to the engine's exit
inline constexpr double gpuPatience = 20.0;    ///< and the clip's own length, for a GPU's answer
inline constexpr double deliveredLasts = 1.2;  ///< then the state is idle again
inline constexpr double failedLasts = 4.2;

inline constexpr double samplesPerSecond = AudioConverter::targetSampleRate; ///< of a recording

} // namespace DictationTiming
} // namespace murlo
