#pragma once

#include "MurloKit/Message.h"
#include "MurloKit/ModelCatalog.h"
#include "platform/HttpClient.h"
#include "platform/Scheduler.h"
#include "support/Paths.h"

#include <QObject>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

namespace murlo {

class FileSystem;
class Reachability;

/// Gets a speech model from the public repository into the models folder. What has come survives
/// interruptions of every kind; the next attempt continues it if the server still has the same
/// file. A model appears in the folder whole or not at all. Main thread; network and disk are used
/// on a queue of its own, so nothing here blocks but the destructor, which waits for the disk and
/// for a look-up of the proxy.
class ModelDownload : public QObject {
    Q_OBJECT

public:
    struct Partners {
        Scheduler& scheduler;
        MakeHttpClient makeHttpClient;
        const FileSystem& files; ///< used on the queue's thread
        const Reachability& reachability;
    };

    /// `repository` is the configured address, below whose "/resolve/main/" the models lie. When it
    /// is empty, every attempt fails.
    ModelDownload(Partners with, const Paths& paths, QUrl repository);
    ~ModelDownload() override; ///< pauses

    /// Begins an attempt, or does nothing during one. Signals come on a later turn.
    void start(const SpeechModel& model);
    /// Ends the attempt, if there is one; no signal comes of it any more.
    void pause();
    [[nodiscard]] bool isRunning() const { return m_isRunning; }
    /// What the attempt under way gets; nothing without one.
    [[nodiscard]] std::optional<SpeechModel> model() const {
        return m_isRunning ? std::optional(m_model) : std::nullopt;
    }

    /// The model of the catalogue that has begun to come and can be continued.
    [[nodiscard]] static std::optional<SpeechModel> begun(const Paths& paths);
    /// The address of a model in a repository.
    [[nodiscard]] static QUrl sourceOf(const QUrl& repository, const SpeechModel& model);

Q_SIGNALS:
    /// From 0 to 1, and how long it still takes. While the server does not tell the size, none
    /// comes.
    void progressed(double progress, const murlo::Message& remaining);
    /// The attempt has failed; another one may succeed.
    void failed(const murlo::Message& why);
    /// The model is there, under this path.
    void installed(const QString& path);

private:
    struct FarSide;
    struct News;

    /// Passes on what belongs to the current attempt.
    [[nodiscard]] std::function<void(const News&)> reporter();
    void take(const News& news);

    Partners m_with;
    QString m_folder;
    QUrl m_repository;
    bool m_isRunning = false;
    SpeechModel m_model; ///< of the attempt
    int m_attempt = 0;
    double m_startedAt = 0; ///< on the scheduler's uptime
    std::shared_ptr<FarSide> m_far;
    std::unique_ptr<SerialQueue> m_queue; ///< null until the first attempt
    Lifetime m_lifetime;
};

} // namespace murlo
