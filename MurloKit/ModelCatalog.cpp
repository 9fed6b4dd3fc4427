#include "MurloKit/ModelCatalog.h"

#include <QtEndian>

#include <algorithm>
#include <array>

namespace murlo {

namespace {

QString nameOf(const QString& path) {
    return path.section(QLatin1Char('/'), -1);
}

/// The first letter of each word in upper case, the others in lower; blanks and dots end words.
QString capitalised(QString text) {
    bool begins = true;
    for (QChar& letter : text) {
        letter = begins ? letter.toUpper() : letter.toLower();
        begins = letter == QLatin1Char(' ') || letter == QLatin1Char('.');
    }
    return text;
}

/// The name of the type that most weights have, from the header's number.
QString weightsNamed(qint32 type) {
    switch (type % 1000) { // thousands are the version of the format
    case 1:
        return QStringLiteral("f16");
    case 7:
        return QStringLiteral("q8_0");
    case 9:
        return QStringLiteral("q5_1");
    default:
        return QStringLiteral("q5_0");
    }
}

} // namespace

std::optional<SpeechModel> SpeechModel::fromHeader(const QByteArray& header, const QString& file,
                                                   qint64 bytes) {
    constexpr qint32 magic = 0x67676d6c; // "ggml"
    constexpr qint32 limit = 100'000;    // no dimension of a model comes near it
    if (header.size() < headerSize) return std::nullopt;
    std::array<qint32, headerSize / sizeof(qint32)> numbers{};
    for (std::size_t i = 0; i < numbers.size(); ++i)
        numbers.at(i) = qFromLittleEndian<qint32>(header.constData() + i * sizeof(qint32));
    const auto [word, vocabulary, audioContext, audioState, audioHeads, audioLayers, textContext,
                textState, textHeads, textLayers, mels, type] = numbers;
    for (const qint32 size : {vocabulary, audioState, audioLayers, textLayers, mels})
        if (size <= 0 || size >= limit) return std::nullopt;
    if (word != magic) return std::nullopt;
    constexpr qint32 englishVocabulary = 51'864; // those for all languages have more
    return SpeechModel{file,
                       bytes,
                       weightsNamed(type),
                       audioState,
                       audioLayers,
                       textLayers,
                       mels,
                       vocabulary <= englishVocabulary};
}

qint64 SpeechModel::memory() const {
    // Keys and values of the encoder's 1500 and the decoder's 448 positions in 16-bit numbers, and
    // buffers for one layer of the encoder.
    const qint64 caches = qint64{2} * 2 * (1500 + 448) * width * decoderLayers;
    const qint64 buffers = qint64{4} * 1500 * width * 14;
    return bytes + caches + buffers;
}

const QList<SpeechModel>& ModelCatalog::models() {
    static const QList<SpeechModel> all{
        {QStringLiteral("ggml-tiny-q5_1.bin"), 32'152'673, QStringLiteral("q5_1"), 384, 4, 4},
        {QStringLiteral("ggml-tiny-q8_0.bin"), 43'537'433, QStringLiteral("q8_0"), 384, 4, 4},
        {QStringLiteral("ggml-base-q5_1.bin"), 59'707'625, QStringLiteral("q5_1"), 512, 6, 6},
        {QStringLiteral("ggml-base-q8_0.bin"), 81'768'585, QStringLiteral("q8_0"), 512, 6, 6},
        {QStringLiteral("ggml-small-q5_1.bin"), 190'085'487, QStringLiteral("q5_1"), 768, 12, 12},
        {QStringLiteral("ggml-small-q8_0.bin"), 264'464'607, QStringLiteral("q8_0"), 768, 12, 12},
        {QStringLiteral("ggml-medium-q5_0.bin"), 539'212'467, QStringLiteral("q5_0"), 1024, 24, 24},
        {QStringLiteral("ggml-medium-q8_0.bin"), 823'369'779, QStringLiteral("q8_0"), 1024, 24, 24},
        {QStringLiteral("ggml-large-v3-turbo-q5_0.bin"), 574'041'195, QStringLiteral("q5_0"), 1280,
         32, 4, 128},
        {QStringLiteral("ggml-large-v3-turbo-q8_0.bin"), 874'188'075, QStringLiteral("q8_0"), 1280,
         32, 4, 128},
    };
    return all;
}

const QList<SpeechModel>& ModelCatalog::englishModels() {
    static const QList<SpeechModel> all{
        {QStringLiteral("ggml-base.en-q5_1.bin"), 59'721'011, QStringLiteral("q5_1"), 512, 6, 6, 80,
         true},
        {QStringLiteral("ggml-base.en-q8_0.bin"), 81'781'811, QStringLiteral("q8_0"), 512, 6, 6, 80,
         true},
        {QStringLiteral("ggml-small.en-q5_1.bin"), 190'098'681, QStringLiteral("q5_1"), 768, 12, 12,
         80, true},
        {QStringLiteral("ggml-small.en-q8_0.bin"), 264'477'561, QStringLiteral("q8_0"), 768, 12, 12,
         80, true},
        {QStringLiteral("ggml-medium.en-q5_0.bin"), 539'225'533, QStringLiteral("q5_0"), 1024, 24,
         24, 80, true},
        {QStringLiteral("ggml-medium.en-q8_0.bin"), 823'382'461, QStringLiteral("q8_0"), 1024, 24,
         24, 80, true},
    };
    return all;
}

QList<SpeechModel> ModelCatalog::offered() {
    const QString leastAble = QStringLiteral("ggml-base-q5_1.bin");
    const auto first = std::ranges::find(models(), leastAble, &SpeechModel::file);
    return models().mid(first - models().begin());
}

std::optional<SpeechModel> ModelCatalog::find(const QString& path) {
    for (const QList<SpeechModel>* list : {&models(), &englishModels()}) {
        const auto found = std::ranges::find(*list, nameOf(path), &SpeechModel::file);
        if (found != list->end()) return *found;
    }
    return std::nullopt;
}

const SpeechModel& ModelCatalog::preferred() {
    return models()[models().size() - 2];
}

QString ModelCatalog::displayName(const QString& path) {
    QString name = nameOf(path);
    if (name == preferred().file) return QStringLiteral("Murlo Fast");
    name.remove(QStringLiteral("ggml-")).remove(QStringLiteral(".bin"));
    return capitalised(name.replace(QLatin1Char('-'), QLatin1Char(' ')));
}

} // namespace murlo
