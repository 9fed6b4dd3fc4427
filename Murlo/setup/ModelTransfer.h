#pragma once

#include "MurloKit/FriendlyError.h"
#include "MurloKit/ModelCatalog.h"
#include "platform/HttpClient.h"
#include "platform/Scheduler.h"
#include "setup/PartialModel.h"

#include <QUrl>

#include <functional>
#include <memory>
#include <variant>

namespace murlo {

class FileSystem;

/// One attempt at getting a speech model: asks the server, continues what lies on the disk if the
/// server says that it is still the same file, and installs the model when it is whole. Belongs to
/// one thread with an event loop, which it blocks for as long as the disk does; that keeps the
/// server from sending faster than the disk takes.
class ModelTransfer : NonCopyable {
public:
    struct Partners {
        HttpClient& http; ///< of the thread
        const FileSystem& disk;
        const Scheduler& clock;
    };
    struct Progress {
        qint64 from = 0; ///< bytes that were there when this attempt began to add to them
        qint64 written = 0;
        qint64 total = 0; ///< at least 1
    };
    /// A sentence for the user, or what the network said.
    using Failure = std::variant<Message, NetworkFailure>;
    /// `installed` and `failed` come last, one of them, once, unless the transfer is destroyed
    /// before. Whoever hears may not destroy it at once.
    struct Listener {
        std::function<void(const Progress&)> progress; ///< ten times a second, if the size is known
        std::function<void(const QString& path)> installed;
        std::function<void(const Failure&)> failed;
    };

    /// `folder` is that of the models.
    ModelTransfer(const Partners& with, const QString& folder, SpeechModel model, QUrl source,
                  Listener listener);

    void start();
    /// Ends the attempt; what has come stays. Nobody is told.
    void pause();

private:
    [[nodiscard]] bool refusesForSpace();
    void ask(const QUrl& address);
    [[nodiscard]] bool takeHead(const HttpResponse& head);
    void follow(const HttpResponse& head);
    void startOver(const char* why);
    [[nodiscard]] bool beginAnew(const HttpResponse& head);
    [[nodiscard]] bool takePiece(const QByteArray& piece);
    [[nodiscard]] bool open(const QByteArray& piece);
    [[nodiscard]] bool write(const QByteArray& bytes);
    void takeEnd(const HttpResult& result);
    void install();
    void tellProgress();
    void fail(const Failure& failure, const QString& why);
    void failServer(const QString& why);
    void failDisk(const QString& why);

    Partners m_with;
    SpeechModel m_model;
    QUrl m_source;
    Listener m_listener;
    PartialModel m_part;
    bool m_continues = false; ///< the part on the disk is what is asked for the rest of
    QUrl m_address;           ///< of the request under way: the source, or where that led
    int m_redirects = 0;
    bool m_isOpening = false; ///< a new file, whose first bytes have not been seen
    QByteArray m_opening;     ///< those bytes
    QByteArray m_validator;   ///< of the new file
    qint64 m_from = 0;
    qint64 m_total = 0; ///< 0 when not known
    double m_told = 0;  ///< when progress was told, on the clock's uptime
    bool m_ended = false;
    std::unique_ptr<HttpTask> m_task;
};

} // namespace murlo
