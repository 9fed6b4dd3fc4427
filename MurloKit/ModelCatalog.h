#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

namespace murlo {

/// A speech model: a file in whisper.cpp's format.
struct SpeechModel {
    /// Bytes from which `fromHeader` reads.
    static constexpr int headerSize = 48;

    QString file;          ///< its name, "ggml-base-q5_1.bin"
    qint64 bytes = 0;      ///< its size
    QString weights;       ///< their type, in ggml's words: "f16", "q5_0", "q5_1", "q8_0"
    int width = 0;         ///< of the transformer's state
    int encoderLayers = 0; ///< each runs over 1500 positions, however short the clip is
    int decoderLayers = 0; ///< each runs once for every piece of a word
    int melBands = 80;     ///< of the spectrum that it hears
    bool englishOnly = false;

    /// What the first bytes of a model file tell; nothing when they are not a speech model's.
    /// Weights of a type that nobody measures count as "q5_0".
    [[nodiscard]] static std::optional<SpeechModel> fromHeader(const QByteArray& header,
                                                               const QString& file, qint64 bytes);

    /// Bytes that the engine needs with it: the file, and what it computes in.
    [[nodiscard]] qint64 memory() const;
};

/// The speech models that Murlo offers, of the public repository. Names and
/// shapes are those of whisper.cpp's download script and of the models themselves.
class ModelCatalog {
public:
    /// Seconds within which a sentence of five is to be answered: by the preferred model, which is
    /// worth a longer wait, and by others.
    static constexpr double preferredLimit = 3;
    static constexpr double usualLimit = 2;

    /// Those for all languages, from the least to the most able.
    [[nodiscard]] static const QList<SpeechModel>& models();
    /// Those for English alone, which hear it a little better than others of their size; in the
    /// same order.
    [[nodiscard]] static const QList<SpeechModel>& englishModels();
    /// Those for all languages that are fit for dictation, from "base" on.
    [[nodiscard]] static QList<SpeechModel> offered();
    /// The model with this file name, in whatever folder; nothing for files of other origin.
    [[nodiscard]] static std::optional<SpeechModel> find(const QString& path);
    /// What a model file is called where people see it.
    [[nodiscard]] static QString displayName(const QString& path);
    /// The one that is meant wherever the machine is fast enough for it.
    [[nodiscard]] static const SpeechModel& preferred();
};

} // namespace murlo
