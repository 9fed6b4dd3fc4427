#pragma once

#include "platform/Scheduler.h"
#include "support/Log.h"
#include "support/Paths.h"

#include <QFile>
#include <QStringList>
#include <QTemporaryDir>

namespace murlo {

/// The process's log, kept in a temporary file while this lives.
class TestLog {
public:
    explicit TestLog(Scheduler& scheduler)
        : m_disk(scheduler.makeSerialQueue(QStringLiteral("test.log"))) {
        Log::open(Paths(m_folder.path()), *m_disk);
    }
    TestLog(const TestLog&) = delete;
    TestLog& operator=(const TestLog&) = delete;
    ~TestLog() { Log::close(); }

    /// The messages so far, without their times. With a virtual scheduler, those whose writing ran.
    [[nodiscard]] QStringList lines() const {
        QFile file(m_folder.filePath(QStringLiteral("brisvane.log")));
        if (!file.open(QIODevice::ReadOnly)) return {};
        QStringList result = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
        result.removeLast();
        for (QString& line : result) line.remove(0, line.indexOf(QLatin1Char(' ')) + 1);
        return result;
    }
    /// Those messages that begin with `area`.
    [[nodiscard]] QStringList lines(const QString& area) const {
        QStringList result;
        for (const QString& line : lines()) {
            if (line.startsWith(area)) result << line;
        }
        return result;
    }

private:
    QTemporaryDir m_folder;
    std::unique_ptr<SerialQueue> m_disk;
};

} // namespace murlo
