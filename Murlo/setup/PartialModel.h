#pragma once

#include "platform/Port.h"

#include <QFile>
#include <QString>
#include <QUrl>

#include <tl/expected.hpp>

namespace murlo {

class FileSystem;

/// What has come of a model so far: "NAME.part" in the models folder, where nobody takes it for a
/// model, and beside it "NAME.part.json", which says what it is a part of. A crash at any moment
/// leaves either a part that can be continued or none. One at a time, on one thread, which blocks
/// for as long as the disk does.
class PartialModel : NonCopyable {
public:
    /// Errors are the system's words.
    using Outcome = tl::expected<void, QString>;

    /// `name` is the model's file name, `source` where it is downloaded from. A part that was begun
    /// from another address is not continued.
    PartialModel(const FileSystem& disk, QString folder, QString name, const QUrl& source);

    /// Bytes from which the server can be asked to continue; 0 when there is nothing to continue.
    [[nodiscard]] qint64 size() const { return m_size; }
    /// The strong ETag or the modification date of the file on the server.
    [[nodiscard]] const QByteArray& validator() const { return m_validator; }
    /// Bytes of the whole file; 0 when the server did not say.
    [[nodiscard]] qint64 total() const { return m_total; }
    [[nodiscard]] bool isComplete() const { return m_size > 0 && m_size == m_total; }
    /// Bytes that the part takes on the disk, whether or not it can be continued.
    [[nodiscard]] qint64 bytesOnDisk() const;

    /// Drops what there is and begins again. Without a validator it cannot be continued later.
    [[nodiscard]] Outcome restart(const QByteArray& validator, qint64 total);
    /// Adds bytes to the end. Those that were written before a failure stay.
    [[nodiscard]] Outcome append(const QByteArray& bytes);
    /// Whether what is there is a model from beginning to end.
    [[nodiscard]] bool isWholeModel();
    /// Makes it the model, in one step in place of any old one, after it has reached the disk.
    [[nodiscard]] Outcome install();
    /// Removes the part and what belongs to it.
    void discard();

    /// Notes in "model.resume" that a download has been interrupted, if it can be continued; true
    /// when it was noted. The note is for people and for whoever looks from outside.
    bool noteInterruption() const; // NOLINT(modernize-use-nodiscard): for the log alone
    void removeNote() const;

    [[nodiscard]] const QString& folder() const { return m_folder; }
    /// Where the model is installed.
    [[nodiscard]] QString modelPath() const { return m_folder + QLatin1Char('/') + m_name; }
    /// Removes the part of a model with this file name, if there is one.
    static void discard(const QString& folder, const QString& name);
    /// Whether a byte of this model has come, which the server can be asked to continue.
    [[nodiscard]] static bool isBegun(const QString& folder, const QString& name);

private:
    [[nodiscard]] QByteArray record() const;

    const FileSystem& m_disk;
    QString m_folder;
    QString m_name;
    QString m_source;
    QFile m_file;
    QByteArray m_validator;
    qint64 m_total = 0;
    qint64 m_size = 0;
};

} // namespace murlo
