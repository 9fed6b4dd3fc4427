#pragma once

#include <QByteArray>
#include <QString>

namespace murlo::Recording {

/// Seconds of audio in a PCM WAV file; 0 when it is none.
[[nodiscard]] double duration(const QString& file);

/// A copy of a PCM WAV file, made at least `seconds` long by silence at its end; the bytes as they
/// are when the file is no PCM WAV.
[[nodiscard]] QByteArray padded(const QString& file, double seconds);

} // namespace murlo::Recording
