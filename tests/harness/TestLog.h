#pragma once

#include "platform/Port.h"
#include "platform/Scheduler.h"
#include "support/Log.h"
#include "support/Paths.h"

#include <QFile>
#include <QStringList>
#include <QTemporaryDir>

namespace murlo {

/// The process's log, kept in a temporary file while this lives.
class TestLog : NonCopyable {
public:
    explicit TestLog(Scheduler& scheduler)
        : m_disk(scheduler.makeSerialQueue(QStringLiteral("test.log"))) {
        Log::open(Paths(m_folder.path()), *m_disk);
    }
    ~TestLog() { Log::close(); }

    /// The messages so far that begin so, without their times. With a virtual scheduler, those
    /// whose writing ran.
    [[nodiscard]] QStringList lines(const QString& beginning = {}) const {
        QStringList result;
        QFile file(m_folder.filePath(QStringLiteral("brisvane.log")));
        if (!file.open(QIODevice::ReadOnly)) return result;
        for (QByteArray line = file.readLine(); line.endsWith('\n'); line = file.readLine()) {
            const QString message = QString::fromUtf8(line.chopped(1)).section(QLatin1Char(' '), 1);
            if (message.startsWith(beginning)) result << message;
        }
        return result;
    }

private:
    QTemporaryDir m_folder;
    std::unique_ptr<SerialQueue> m_disk;
};

} // namespace murlo
