#include "support/Log.h"

#include "platform/Scheduler.h"
#include "support/Paths.h"

#include <QFile>
#include <QTime>

#include <cstdio>
#include <mutex>

namespace murlo {

namespace {

/// The open log file and the queue that appends to it. The lock makes the order of the lines on
/// standard error the order in the file.
struct Sink {
    std::mutex lock;
    std::shared_ptr<QFile> file;
    SerialQueue* disk = nullptr; ///< none while the log is closed
};

Sink& sink() {
    static Sink theSink;
    return theSink;
}

} // namespace

void Log::write(const QString& message) {
    QString text = message;
    text.replace(QLatin1Char('\n'), QLatin1Char(' ')).replace(QLatin1Char('\r'), QLatin1Char(' '));
    Sink& to = sink();
    const std::lock_guard guard(to.lock);
    const QByteArray line =
        QStringLiteral("[%1] %2\n")
            .arg(QTime::currentTime().toString(QStringLiteral("HH:mm:ss.zzz")), text)
            .toUtf8();
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stderr);
    if (!to.disk) return;
    to.disk->async([file = to.file, line] {
        file->write(line);
        file->flush();
    });
}

void Log::takeQtWarnings() {
    qInstallMessageHandler([](QtMsgType kind, const QMessageLogContext&, const QString& message) {
        if (kind == QtWarningMsg || kind == QtCriticalMsg || kind == QtFatalMsg)
            write(QStringLiteral("qt: ") + message);
    });
}

void Log::open(const Paths& paths, SerialQueue& disk) {
    close();
    paths.prepare();
    auto file = std::make_shared<QFile>(paths.file(QStringLiteral("brisvane.log")));
    if (!file->open(QIODevice::WriteOnly | QIODevice::Append)) return;
    file->setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    Sink& to = sink();
    const std::lock_guard guard(to.lock);
    to.file = std::move(file);
    to.disk = &disk;
}

void Log::close() {
    Sink& to = sink();
    SerialQueue* disk = nullptr;
    std::shared_ptr<QFile> file;
    {
        const std::lock_guard guard(to.lock);
        disk = std::exchange(to.disk, nullptr);
        file = std::move(to.file);
    }
    if (disk) disk->sync([] {}); // what is queued is written
}

} // namespace murlo
