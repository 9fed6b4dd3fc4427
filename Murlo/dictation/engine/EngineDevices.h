#pragma once

#include "MurloKit/EngineSpeed.h"
#include "platform/Scheduler.h"
#include "support/JsonFile.h"
#include "support/Paths.h"

#include <QJsonObject>
#include <QObject>

#include <mutex>

namespace murlo {

class Settings;

/// The devices that can run the speech engine: what was measured on each, which of them failed and
/// are set aside, and how long answers took. Kept in "engine.json" in the support folder. Any
/// thread.
class EngineDevices : public QObject {
    Q_OBJECT

public:
    /// Reads the file. Writes happen on the queue.
    EngineDevices(const Settings& settings, const Paths& paths, SerialQueue& disk);
    ~EngineDevices() override;

    /// What is known; no devices before the first measurement.
    [[nodiscard]] EngineSpeed speed() const;
    /// Whether what is known was measured with this engine on this hardware. `machine` is any text
    /// that is another with other hardware, another driver or another engine.
    [[nodiscard]] bool knows(const QString& machine) const;
    /// Keeps the measuring program's output. Devices of another machine are no longer set aside.
    void setMeasured(const QString& machine, const QByteArray& output);

    /// The device that the next engine is to run on with the model of this path: the user's choice,
    /// else the fastest of those that are not set aside, else the processor.
    [[nodiscard]] EngineDevice deviceFor(const QString& modelPath) const;
    /// The device failed; it is not used until somebody wants it to be tried again.
    void setAside(const EngineDevice& device);
    /// Keys of the devices set aside.
    [[nodiscard]] QStringList devicesSetAside() const;
    /// All devices may be used again.
    void tryAgain();

    /// An answer has come: how long the engine took for a clip, both in seconds. Of clips up to the
    /// 30 seconds that the engine hears at a time, the last ten are kept for each model and device.
    void answered(const QString& modelPath, const EngineDevice& device, double clip,
                  double seconds);
    /// Seconds that a sentence takes with the model: what it took, once ten were answered, else
    /// what is predicted; nothing when neither is known.
    [[nodiscard]] std::optional<double> secondsFor(const SpeechModel& model) const;

    /// The most able model of the catalogue that is faster than this one: one that is expected to
    /// answer within 2 seconds, else the least able that is offered.
    [[nodiscard]] std::optional<SpeechModel> fasterThan(const QString& modelPath) const;
    /// The same at the first call for a model, nothing at later ones, and from now on
    /// `offeredInsteadOf` tells it too.
    [[nodiscard]] std::optional<SpeechModel> offerFaster(const QString& modelPath);
    /// The faster model that the user was told of, as long as this one is in use.
    [[nodiscard]] std::optional<SpeechModel> offeredInsteadOf(const QString& modelPath) const;

    /// Shape of the model in a file; of one that cannot be read, by its name in the catalogue.
    [[nodiscard]] static std::optional<SpeechModel> modelIn(const QString& path);

Q_SIGNALS:
    /// In the thread in which something changed.
    void changed();

private:
    [[nodiscard]] EngineSpeed usable() const; ///< with the lock held
    [[nodiscard]] EngineDevice chosen(const std::optional<SpeechModel>& model) const;
    void save(); ///< with the lock held

    const Settings& m_settings;
    JsonFile m_file;
    SerialQueue& m_disk;
    mutable std::mutex m_lock; ///< guards the next two
    QJsonObject m_values;
    EngineSpeed m_speed;
};

} // namespace murlo
