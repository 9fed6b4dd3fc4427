#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace murlo {

/// Writes a whole file, whose folder is made if there is none, and grants these permissions on it.
inline void putFile(const QString& path, const QByteArray& bytes, QFile::Permissions added = {}) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() ||
        !file.setPermissions(file.permissions() | added))
        qFatal("cannot write %s", qPrintable(path));
}

/// A file's content; nothing when it cannot be read.
[[nodiscard]] inline QByteArray contentOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace murlo
