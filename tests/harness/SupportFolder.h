#pragma once

#include "support/Paths.h"
#include "tests/fakes/VirtualScheduler.h"
#include "tests/harness/Files.h"

#include <QTemporaryDir>

namespace murlo {

/// A support folder of a test's own, and the queue that its files are written on.
struct SupportFolder {
    SupportFolder() { paths.prepare(); }

    QTemporaryDir folder;
    Paths paths{folder.filePath(QStringLiteral("support"))};
    VirtualScheduler scheduler;
    std::unique_ptr<SerialQueue> disk = scheduler.makeSerialQueue(QStringLiteral("test.disk"));

    void put(const QString& name, const QByteArray& bytes) const {
        putFile(paths.file(name), bytes);
    }
    /// A file's content; nothing when it cannot be read.
    [[nodiscard]] QByteArray get(const QString& name) const { return contentOf(paths.file(name)); }
    /// Everything in the folder whose name begins so.
    [[nodiscard]] QStringList names(const QString& beginning) const {
        return QDir(paths.support())
            .entryList({beginning + QLatin1Char('*')},
                       QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }
};

} // namespace murlo
