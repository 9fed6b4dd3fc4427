#pragma once

#include <QByteArray>

class QIODevice;

namespace murlo {

/// Tells speech models in whisper.cpp's format from other files. Any thread.
class ModelFile {
public:
    /// How many bytes `beginsAsModel` needs.
    static constexpr qsizetype magicBytes = 4;

    /// Whether a file that begins so can be one of ggml's.
    [[nodiscard]] static bool beginsAsModel(const QByteArray& bytes);
    /// Whether an open file, read from its beginning, is a model from its first byte to its last:
    /// parameters, mel filters, vocabulary, and then tensors, the last of which ends where the file
    /// does. Reads the tensors' heads alone. A tensor of a type that is not known here, and what
    /// follows it, is taken as it is.
    [[nodiscard]] static bool isWhole(QIODevice& file);
};

} // namespace murlo
