#pragma once

#include "platform/Scheduler.h"
#include "windows/EngineRecord.h"

#include <QObject>

namespace murlo {

class EngineDevices;
class FileSystem;
class ModelDownload;
class Paths;
class SettingsModel;
class WhisperServer;

/// The speech models and devices as a window shows them, and what the user does with them. Main
/// thread.
class EnginePresenter : public QObject {
    Q_OBJECT

public:
    /// All must outlive it.
    struct Partners {
        Scheduler& scheduler;
        SettingsModel& settings;
        EngineDevices& devices;
        WhisperServer& server;
        ModelDownload& download;
        const FileSystem& files;
        const Paths& paths;
    };

    explicit EnginePresenter(const Partners& partners);

    [[nodiscard]] EngineRecord record() const;
    /// The engine is to take this model from now on.
    void choose(const QString& path);
    /// Carries out what a row's button says. A model that was downloaded is taken at once.
    void act(const ModelRow& row);
    /// The engine is to run on the device of this key; empty: on the fastest.
    void chooseDevice(const QString& key);
    /// Devices that failed get another chance.
    void tryAgain();

    /// The model to take instead of one whose slow answers the user was told of; nothing before.
    [[nodiscard]] std::optional<SpeechModel> fasterModel() const;
    /// Takes it, after a download if need be.
    void takeFasterModel();

Q_SIGNALS:
    /// The record is another.
    void changed();

private:
    [[nodiscard]] QString installedPath(const SpeechModel& model) const;
    void startDownload(const SpeechModel& model);
    void remove(const QString& path);

    Partners m_with;
    QString m_wanted; ///< name of the file that is to be taken once it has come
    Message m_news;
    Lifetime m_lifetime;
};

} // namespace murlo
