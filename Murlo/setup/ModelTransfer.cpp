#include "setup/ModelTransfer.h"

#include "MurloKit/DiskSpace.h"
#include "platform/FileSystem.h"
#include "setup/DownloadAnswer.h"
#include "setup/ModelFile.h"
#include "support/Log.h"

namespace murlo {

namespace {

constexpr double quietLimit = 60; // seconds without a byte
constexpr int mostRedirects = 10;
constexpr double progressPeriod = 0.1; // seconds

} // namespace

ModelTransfer::ModelTransfer(const Partners& with, const QString& folder, SpeechModel model,
                             QUrl source, Listener listener)
    : m_with(with)
    , m_model(std::move(model))
    , m_source(std::move(source))
    , m_listener(std::move(listener))
    , m_part(with.disk, folder, m_model.file, m_source) {}

void ModelTransfer::start() {
    const bool isHere = m_part.isComplete() && m_part.isWholeModel();
    if (m_part.isComplete() && !isHere) m_part.discard(); // a disk that lost bytes
    if (!isHere && refusesForSpace()) return;
    m_part.removeNote();
    m_continues = m_part.size() > 0;
    Log::write(m_continues ? QStringLiteral("setup: resuming speech model download")
                           : QStringLiteral("setup: downloading speech model"));
    if (isHere)
        install();
    else
        ask(m_source);
}

bool ModelTransfer::refusesForSpace() {
    const auto free = m_with.disk.availableBytes(m_part.folder());
    if (!free) return false;
    const auto refusal = DiskSpace::check(*free + m_part.bytesOnDisk(), DiskSpace::needed(m_model));
    if (!refusal) return false;
    m_ended = true;
    m_listener.failed(*refusal);
    return true;
}

void ModelTransfer::pause() {
    if (std::exchange(m_ended, true)) return;
    m_task.reset();
    if (m_part.noteInterruption())
        Log::write(QStringLiteral("setup: download paused, resume data saved"));
}

void ModelTransfer::ask(const QUrl& address) {
    m_address = address;
    HttpRequest request;
    request.url = address;
    request.timeout = quietLimit;
    if (m_continues)
        request.headers = {{"Range", "bytes=" + QByteArray::number(m_part.size()) + "-"},
                           {"If-Range", m_part.validator()}};
    request.head = [this](const HttpResponse& head) { return takeHead(head); };
    request.piece = [this](const QByteArray& piece) { return takePiece(piece); };
    m_task = m_with.http.send(request, [this](const HttpResult& result) { takeEnd(result); });
}

/// Whether the body that follows is wanted; if not, the transfer has ended or asks anew.
bool ModelTransfer::takeHead(const HttpResponse& head) {
    if (DownloadAnswer::isRedirect(head.status)) {
        follow(head);
        return false;
    }
    if (head.status == 200) return beginAnew(head);
    if (m_continues && head.status == 206) {
        const auto total = DownloadAnswer::continuedTotal(
            head, {m_part.validator(), m_part.size(), m_part.total()});
        if (!total) {
            startOver("the server continues another file");
            return false;
        }
        m_from = m_part.size();
        m_total = *total;
        tellProgress();
        return true;
    }
    if (m_continues && head.status == 416) {
        if (DownloadAnswer::refusedTotal(head) == m_part.size())
            install();
        else
            startOver("the server's file has another length");
        return false;
    }
    fail(FriendlyError::downloadRefused(head.status),
         QStringLiteral("the server answers %1").arg(head.status));
    return false;
}

void ModelTransfer::follow(const HttpResponse& head) {
    const auto target = DownloadAnswer::redirectTarget(m_address, head);
    if (!target || ++m_redirects > mostRedirects)
        failServer(QStringLiteral("the server leads where Murlo does not follow"));
    else
        ask(*target);
}

/// What lies on the disk stays there until the new file has shown itself to be a model.
void ModelTransfer::startOver(const char* why) {
    Log::write(QStringLiteral("download: %1, beginning again").arg(QLatin1String(why)));
    m_continues = false;
    m_redirects = 0;
    ask(m_source);
}

bool ModelTransfer::beginAnew(const HttpResponse& head) {
    m_continues = false;
    m_isOpening = true;
    m_opening.clear();
    m_validator = DownloadAnswer::validator(head);
    m_from = 0;
    m_total = DownloadAnswer::contentLength(head).value_or(0);
    const bool isSensible = DownloadAnswer::isPlain(head) && m_total <= 2 * m_model.bytes;
    if (!isSensible) failServer(QStringLiteral("the server's file is compressed or too large"));
    return isSensible;
}

bool ModelTransfer::takePiece(const QByteArray& piece) {
    return m_isOpening ? open(piece) : write(piece);
}

/// The first bytes of a new file: a page that some network answers with replaces nothing.
bool ModelTransfer::open(const QByteArray& piece) {
    m_opening += piece;
    if (m_opening.size() < ModelFile::magicBytes) return true;
    if (!ModelFile::beginsAsModel(m_opening)) {
        failServer(QStringLiteral("the server's file is no speech model"));
        return false;
    }
    m_isOpening = false;
    if (const auto begun = m_part.restart(m_validator, m_total); !begun) {
        failDisk(begun.error());
        return false;
    }
    return write(m_opening);
}

bool ModelTransfer::write(const QByteArray& bytes) {
    const qint64 most = m_total > 0 ? m_total : 2 * m_model.bytes;
    if (m_part.size() + bytes.size() > most) {
        m_part.discard();
        failServer(QStringLiteral("the server's file is longer than it may be"));
        return false;
    }
    if (const auto written = m_part.append(bytes); !written) {
        failDisk(written.error());
        return false;
    }
    if (m_with.clock.uptime() - m_told >= progressPeriod) tellProgress();
    return true;
}

void ModelTransfer::takeEnd(const HttpResult& result) {
    if (!result) {
        fail(result.error().failure, result.error().description);
    } else if (m_isOpening) {
        failServer(QStringLiteral("the server's file is no speech model"));
    } else if (m_total > 0 && m_part.size() < m_total) {
        fail(NetworkFailure::cutOff, QStringLiteral("the file ended before its announced length"));
    } else {
        install();
    }
}

void ModelTransfer::install() {
    m_task.reset();
    if (!m_part.isWholeModel()) {
        m_part.discard();
        failServer(QStringLiteral("the server's file is no whole speech model"));
        return;
    }
    if (m_total > 0) tellProgress();
    if (const auto installed = m_part.install(); !installed) {
        Log::write(QStringLiteral("setup: ") + installed.error());
        m_ended = true;
        m_listener.failed(Message(Word::modelNotSaved));
        return;
    }
    Log::write(QStringLiteral("setup: model installed"));
    m_ended = true;
    m_listener.installed(m_part.modelPath());
}

void ModelTransfer::tellProgress() {
    if (m_total < 1) return;
    m_told = m_with.clock.uptime();
    m_listener.progress({m_from, m_part.size(), m_total});
}

void ModelTransfer::fail(const Failure& failure, const QString& why) {
    m_task.reset();
    m_ended = true;
    Log::write(QStringLiteral("download: ") + why);
    m_part.noteInterruption();
    m_listener.failed(failure);
}

void ModelTransfer::failServer(const QString& why) {
    fail(Message(Word::downloadRefused), why);
}

void ModelTransfer::failDisk(const QString& why) {
    fail(Message(Word::modelNotSaved), why);
}

} // namespace murlo
