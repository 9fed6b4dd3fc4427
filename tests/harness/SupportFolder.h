#pragma once

#include "support/Paths.h"
#include "tests/fakes/VirtualScheduler.h"

#include <QDir>
#include <QFile>
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
        QFile file(paths.file(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            qFatal("cannot write a test's file");
    }
    /// A file's content; nothing when it cannot be read.
    [[nodiscard]] QByteArray get(const QString& name) const {
        QFile file(paths.file(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    /// Everything in the folder whose name begins so.
    [[nodiscard]] QStringList names(const QString& beginning) const {
        return QDir(paths.support())
            .entryList({beginning + QLatin1Char('*')},
                       QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }
};

} // namespace murlo
