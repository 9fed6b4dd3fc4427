#pragma once

#include "MurloKit/ModelCatalog.h"

#include <QByteArray>
#include <QJsonObject>
#include <QMap>
#include <QStringList>

namespace murlo {

/// A processor or GPU that can run the speech engine, and what was measured on it.
struct EngineDevice {
    static constexpr int processor = -1; ///< `number` of the processor

    int number = processor; ///< of a GPU: for the engine's option --device
    QString name;           ///< the maker's, and a number for the second of the same name
    QString kind;           ///< "cpu", "discrete", "integrated", "software", "other"
    QString driver;
    qint64 memory = 0; ///< bytes in all; 0 when unknown
    /// Thousand million operations in a second by weight type, then by width; empty when it was not
    /// or could not be measured.
    QMap<QString, QMap<int, double>> gflops;
    double layerSeconds =
        0; ///< what a layer of the encoder takes for each unit of its width beside

    [[nodiscard]] bool isProcessor() const { return number == processor; }
    /// What it is called where it must be found again, also when the order of devices is another.
    [[nodiscard]] QString key() const { return isProcessor() ? QStringLiteral("cpu") : name; }
    [[nodiscard]] bool wasMeasured() const { return !gflops.isEmpty(); }
};

/// How fast this machine runs the speech engine, as its measuring program (`murlo-measure`) tells.
struct EngineSpeed {
    QList<EngineDevice> devices; ///< the processor first, if it is known
    double share = 1; ///< of the processor's time that the measurement got; below 0.9 it is too low

    /// Reads the program's output, one JSON object a line. Whatever is no such line is passed over:
    /// the program may have been killed in the middle.
    [[nodiscard]] static EngineSpeed parse(const QByteArray& output);

    /// Seconds that the engine is expected to take for a sentence of five seconds. Nothing when
    /// that was not measured, or the device lacks memory for the model.
    [[nodiscard]] static std::optional<double> predict(const SpeechModel& model,
                                                       const EngineDevice& device);
    /// The device that runs a model fastest; nothing when none was measured.
    [[nodiscard]] std::optional<EngineDevice> fastest(const SpeechModel& model) const;
    /// The same without devices of these keys.
    [[nodiscard]] EngineSpeed without(const QStringList& keys) const;
    /// The model to take: the preferred one where it answers within 3 s, else the most able that
    /// does within 2 s, but none below "base".
    [[nodiscard]] SpeechModel choice() const;
};

} // namespace murlo
