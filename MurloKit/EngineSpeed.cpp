#include "MurloKit/EngineSpeed.h"

#include <QJsonDocument>

#include <algorithm>

namespace murlo {

namespace {

constexpr double positions = 1500; // of the encoder, however short the clip is
constexpr double pieces = 25;      // of words in five seconds of speech, and what frames them
/// Weights that a device reads in a second, which is what the decoder waits for: of ordinary
/// desktop memory, and of a graphics card's.
constexpr double processorBytes = 8e9;
constexpr double discreteBytes = 100e9;
/// What a layer of the decoder takes besides, for each piece: of the five public shapes on two
/// processors, with which their pieces took 5, 7, 18, 52 and 14 ms (predicted 4, 7, 19, 50, 17).
constexpr double decoderLayerSeconds = 0.4e-3;

/// The figure of the nearest width that was measured.
std::optional<double> at(const QMap<int, double>& byWidth, int width) {
    std::optional<double> found;
    int nearest = 0;
    for (auto figure = byWidth.begin(); figure != byWidth.end(); ++figure) {
        if (found && std::abs(figure.key() - width) >= std::abs(nearest - width)) continue;
        nearest = figure.key();
        found = figure.value();
    }
    return found;
}

QMap<QString, QMap<int, double>> gflopsIn(const QJsonObject& all) {
    QMap<QString, QMap<int, double>> gflops;
    for (auto type = all.begin(); type != all.end(); ++type) {
        const QJsonObject widths = type.value().toObject();
        for (auto figure = widths.begin(); figure != widths.end(); ++figure) {
            const double speed = figure.value().toDouble();
            if (speed > 0) gflops[type.key()][figure.key().toInt()] = speed;
        }
    }
    return gflops;
}

/// Whether a device's name is this one, with or without a number after it.
bool isTwin(const QString& name, const QString& description) {
    return name == description || name.startsWith(description + QLatin1String(" ("));
}

} // namespace

EngineSpeed EngineSpeed::parse(const QByteArray& output) {
    EngineSpeed speed;
    for (const QByteArray& line : output.split('\n')) {
        const QJsonObject object = QJsonDocument::fromJson(line).object();
        const QString event = object.value(QLatin1String("event")).toString();
        const QJsonValue number = object.value(QLatin1String("device"));
        if (!number.isDouble()) continue;
        if (event == QLatin1String("device")) {
            EngineDevice device;
            device.number = number.toInt();
            device.name = object.value(QLatin1String("description")).toString();
            const auto twins = std::ranges::count_if(speed.devices, [&](const EngineDevice& other) {
                return !other.isProcessor() && isTwin(other.name, device.name);
            });
            if (twins > 0) device.name += QStringLiteral(" (%1)").arg(twins + 1);
            device.kind = object.value(QLatin1String("kind")).toString();
            device.driver = object.value(QLatin1String("driver")).toString();
            device.memory = object.value(QLatin1String("memory_total")).toInteger();
            speed.devices << device;
        }
        const auto known = std::ranges::find(speed.devices, number.toInt(), &EngineDevice::number);
        if (event != QLatin1String("speed") || known == speed.devices.end()) continue;
        if (known->isProcessor()) speed.share = object.value(QLatin1String("share")).toDouble(1);
        known->gflops = gflopsIn(object.value(QLatin1String("gflops")).toObject());
        known->layerSeconds = object.value(QLatin1String("layer_ns")).toDouble() * 1e-9;
    }
    return speed;
}

std::optional<double> EngineSpeed::predict(const SpeechModel& model, const EngineDevice& device) {
    const auto gflops = at(device.gflops.value(model.weights), model.width);
    const bool isTooSmall = device.memory > 0 && device.memory < model.memory();
    if (!gflops || isTooSmall) return std::nullopt;
    const double width = model.width;
    // Multiplications and additions: of a layer of the encoder twelve squares of weights (four of
    // attention, eight between), of one of the decoder two, which make its keys and values.
    const double products =
        2 * positions * width * width * (12.0 * model.encoderLayers + 2.0 * model.decoderLayers);
    const double convolutions = 9000 * width * width + 18'000 * model.melBands * width;
    const double halfPrecision =
        at(device.gflops.value(QStringLiteral("f16")), model.width).value_or(*gflops);
    const double encoder = products / (*gflops * 1e9) + convolutions / (halfPrecision * 1e9) +
                           device.layerSeconds * width * model.encoderLayers;
    // Sixteen squares of a layer, and the table of 51,866 pieces of words.
    const double bytesPerWeight = model.weights == QLatin1String("f16")    ? 2
                                  : model.weights == QLatin1String("q8_0") ? 34.0 / 32
                                                                           : 23.0 / 32;
    const double read = bytesPerWeight * width * (16.0 * width * model.decoderLayers + 51'866.0);
    const double bandwidth =
        device.kind == QLatin1String("discrete") ? discreteBytes : processorBytes;
    return encoder + pieces * (read / bandwidth + decoderLayerSeconds * model.decoderLayers);
}

std::optional<EngineDevice> EngineSpeed::fastest(const SpeechModel& model) const {
    std::optional<EngineDevice> best;
    std::optional<double> shortest;
    for (const EngineDevice& device : devices) {
        const auto seconds = predict(model, device);
        if (!seconds || (shortest && *shortest <= *seconds)) continue;
        shortest = seconds;
        best = device;
    }
    return best;
}

EngineSpeed EngineSpeed::without(const QStringList& keys) const {
    EngineSpeed rest = *this;
    rest.devices.removeIf([&](const EngineDevice& device) { return keys.contains(device.key()); });
    return rest;
}

SpeechModel EngineSpeed::choice() const {
    const auto answersWithin = [this](const SpeechModel& model, double limit) {
        const auto device = fastest(model);
        return device && predict(model, *device).value_or(limit + 1) <= limit;
    };
    const SpeechModel& preferred = ModelCatalog::preferred();
    if (answersWithin(preferred, ModelCatalog::preferredLimit)) return preferred;
    const QList<SpeechModel> models = ModelCatalog::offered();
    for (auto model = models.rbegin(); model != models.rend(); ++model)
        if (answersWithin(*model, ModelCatalog::usualLimit)) return *model;
    return models.first();
}

} // namespace murlo
