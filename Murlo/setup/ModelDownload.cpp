#include "setup/ModelDownload.h"

#include "MurloKit/DownloadEstimate.h"
#include "platform/Reachability.h"
#include "setup/ModelTransfer.h"
#include "support/Log.h"

#include <QDir>

namespace murlo {

/// What lives on the queue.
struct ModelDownload::FarSide {
    std::unique_ptr<HttpClient> http;
    std::unique_ptr<ModelTransfer> transfer;

    void end() {
        if (transfer) transfer->pause();
        transfer.reset();
        http.reset();
    }
};

/// What the queue tells the main thread.
struct ModelDownload::News {
    int attempt = 0;
    std::variant<ModelTransfer::Progress, ModelTransfer::Failure, QString> what; ///< or the path
};

ModelDownload::ModelDownload(Partners with, const Paths& paths, QUrl repository)
    : m_with(std::move(with))
    , m_folder(paths.models())
    , m_repository(std::move(repository))
    , m_far(std::make_shared<FarSide>()) {}

ModelDownload::~ModelDownload() {
    pause();
}

void ModelDownload::start(const SpeechModel& model) {
    if (m_isRunning) return;
    m_isRunning = true;
    m_model = model;
    ++m_attempt;
    m_startedAt = m_with.scheduler.uptime();
    const auto report = reporter();
    if (m_repository.isEmpty()) {
        Log::write(QStringLiteral("download: no usable model repository is configured"));
        report({m_attempt, ModelTransfer::Failure(Message(Word::downloadRefused))});
        return;
    }
    QDir().mkpath(m_folder);
    if (!m_queue) m_queue = m_with.scheduler.makeSerialQueue(QStringLiteral("murlo.download"));
    const auto tell = [report, attempt = m_attempt](auto what) {
        report({attempt, std::move(what)});
    };
    const ModelTransfer::Listener listener{
        [tell](const ModelTransfer::Progress& progress) { tell(progress); },
        [tell](const QString& path) { tell(path); },
        [tell](const ModelTransfer::Failure& failure) { tell(failure); }};
    m_queue->async([far = m_far, queue = m_queue.get(), with = m_with, folder = m_folder, model,
                    source = sourceOf(m_repository, model), listener] {
        far->transfer.reset();
        far->http = with.makeHttpClient(
            [queue](double seconds, Work work) { return queue->after(seconds, std::move(work)); });
        far->transfer = std::make_unique<ModelTransfer>(
            ModelTransfer::Partners{*far->http, with.files, with.scheduler}, folder, model, source,
            listener);
        far->transfer->start();
    });
}

void ModelDownload::pause() {
    m_isRunning = false;
    ++m_attempt;
    if (m_queue) m_queue->async([far = m_far] { far->end(); });
}

std::function<void(const ModelDownload::News&)> ModelDownload::reporter() {
    return [&scheduler = m_with.scheduler, take = m_lifetime.guard([this](const News& news) {
        this->take(news);
    })](const News& news) { scheduler.nextTurn([take, news]() mutable { take(news); }); };
}

void ModelDownload::take(const News& news) {
    if (news.attempt != m_attempt) return;
    if (const auto* progress = std::get_if<ModelTransfer::Progress>(&news.what)) {
        const double elapsed = m_with.scheduler.uptime() - m_startedAt;
        Q_EMIT progressed(
            static_cast<double>(progress->written) / static_cast<double>(progress->total),
            DownloadEstimate::remainingText(progress->written - progress->from,
                                            progress->total - progress->from, elapsed));
        return;
    }
    pause(); // nothing is left to pause: it lets go of the connection
    if (const auto* path = std::get_if<QString>(&news.what)) {
        Q_EMIT installed(*path); // the last access: it may end this
        return;
    }
    const auto& failure = std::get<ModelTransfer::Failure>(news.what);
    const auto* network = std::get_if<NetworkFailure>(&failure);
    Message why =
        network == nullptr ? std::get<Message>(failure) : FriendlyError::message(*network);
    if (network != nullptr && *network == NetworkFailure::noHost &&
        !m_with.reachability.isConnected())
        why = FriendlyError::message(NetworkFailure::offline);
    Q_EMIT failed(why);
}

std::optional<SpeechModel> ModelDownload::begun(const Paths& paths) {
    for (const SpeechModel& model : ModelCatalog::models())
        if (PartialModel::isBegun(paths.models(), model.file)) return model;
    return std::nullopt;
}

QUrl ModelDownload::sourceOf(const QUrl& repository, const SpeechModel& model) {
    QUrl source = repository.adjusted(QUrl::StripTrailingSlash);
    source.setPath(source.path() + QStringLiteral("/resolve/main/") + model.file);
    return source;
}

} // namespace murlo
