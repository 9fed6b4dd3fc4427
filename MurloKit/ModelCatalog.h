#pragma once

#include <QList>
#include <QString>

#include <optional>

namespace murlo {

/// A speech model of the public repository: a file in whisper.cpp's format, for all languages.
struct SpeechModel {
    QString file;          ///< its public name, "ggml-base-q5_1.bin"
    qint64 bytes = 0;      ///< its size
    QString weights;       ///< their type, in ggml's words: "q5_0", "q5_1", "q8_0"
    int width = 0;         ///< of the transformer's state
    int encoderLayers = 0; ///< each runs over 1500 positions, however short the clip is
    int decoderLayers = 0; ///< each runs once for every piece of a word

    /// Bytes that the engine needs with it: the file, and what it computes in.
    [[nodiscard]] qint64 memory() const;
};

/// The speech models that Murlo offers. Names and shapes are those of whisper.cpp's download script
/// and of the models themselves.
class ModelCatalog {
public:
    /// From the least to the most able.
    [[nodiscard]] static const QList<SpeechModel>& models();
    /// The model with this file name, in whatever folder; nothing for files of other origin.
    [[nodiscard]] static std::optional<SpeechModel> find(const QString& path);
    /// What a model file is called where people see it.
    [[nodiscard]] static QString displayName(const QString& path);
    /// The one that is meant wherever the machine is fast enough for it.
    [[nodiscard]] static const SpeechModel& preferred();
};

} // namespace murlo
