#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <mutex>

namespace murlo::backend {

/// The record of the newest release: a JSON file that an operator edits, read again when it
/// changes.
class ReleaseFile {
public:
    /// Without a path, or while the file is missing or no release record, the record is this
    /// server's own version with an empty minimum, address and notes.
    ReleaseFile(QString path, QString ownVersion);

    /// The record as JSON. Any thread.
    [[nodiscard]] QByteArray record();

private:
    void read();

    QString m_path;
    QByteArray m_own;
    std::mutex m_lock;
    QByteArray m_record;
    QDateTime m_changed; ///< the file's time when it was read
    qint64 m_size = -1;
};

} // namespace murlo::backend
