#pragma once

#include <QString>

namespace murlo {

/// Writes a speech model (whisper.cpp's ggml format) that answers as `source` does, to the letter,
/// but whose encoder has `layers` layers: as slow as the models that people use. The layers that it
/// adds change nothing, for their last projections are zero. False when the source is no such model
/// or the file cannot be written.
[[nodiscard]] bool writeDeepModel(const QString& source, const QString& target, int layers);

} // namespace murlo
