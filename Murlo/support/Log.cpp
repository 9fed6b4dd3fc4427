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
    std::unique_ptr<SerialQueue> queue;
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
    if (!to.queue) return;
    to.queue->async([file = to.file, line] {
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

void Log::open(const Paths& paths, Scheduler& scheduler) {
    close();
    paths.prepare();
    auto file = std::make_shared<QFile>(paths.file(QStringLiteral("brisvane.log")));
    if (!file->open(QIODevice::WriteOnly | QIODevice::Append)) return;
    file->setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    Sink& to = sink();
    auto queue = scheduler.makeSerialQueue(QStringLiteral("brisvane.log"));
    const std::lock_guard guard(to.lock);
    to.file = std::move(file);
    to.queue = std::move(queue);
}

void Log::close() {
    Sink& to = sink();
    std::unique_ptr<SerialQueue> queue;
    std::shared_ptr<QFile> file;
    {
        const std::lock_guard guard(to.lock);
        queue = std::move(to.queue);
        file = std::move(to.file);
    }
    queue.reset(); // runs what is queued
}

} // namespace murlo
