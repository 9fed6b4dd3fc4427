#include "setup/PartialModel.h"

#include "platform/FileSystem.h"
#include "setup/ModelFile.h"
#include "support/PrivateFile.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <filesystem>

namespace murlo {

namespace {

QString partOf(const QString& folder, const QString& name) {
    return folder + QLatin1Char('/') + name + QStringLiteral(".part");
}
QString recordOf(const QString& folder, const QString& name) {
    return partOf(folder, name) + QStringLiteral(".json");
}

QString noteIn(const QString& folder) {
    return folder + QStringLiteral("/model.resume");
}

/// What is known of a part.
struct Record {
    QString source;
    QByteArray validator;
    qint64 total = 0;
};

Record readRecord(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    const QJsonObject json = QJsonDocument::fromJson(file.readAll()).object();
    return {json.value(QLatin1String("source")).toString(),
            json.value(QLatin1String("validator")).toString().toLatin1(),
            json.value(QLatin1String("total")).toInteger()};
}

} // namespace

PartialModel::PartialModel(const FileSystem& disk, QString folder, QString name, const QUrl& source)
    : m_disk(disk)
    , m_folder(std::move(folder))
    , m_name(std::move(name))
    , m_source(source.toString(QUrl::FullyEncoded))
    , m_file(partOf(m_folder, m_name)) {
    const Record known = readRecord(recordOf(m_folder, m_name));
    const qint64 size = bytesOnDisk();
    const bool fits = known.total == 0 || (known.total > 0 && size <= known.total);
    if (known.source != m_source || known.validator.isEmpty() || !fits) return;
    m_validator = known.validator;
    m_total = known.total;
    m_size = size;
}

qint64 PartialModel::bytesOnDisk() const {
    return QFileInfo(m_file.fileName()).size();
}

PartialModel::Outcome PartialModel::restart(const QByteArray& validator, qint64 total) {
    m_file.close();
    m_size = 0;
    // Old bytes never lie beside a new record: it goes first, and comes when they are gone for
    // good.
    QFile::remove(recordOf(m_folder, m_name));
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered))
        return tl::unexpected(m_file.errorString());
    if (!m_disk.sync(m_file.fileName()))
        return tl::unexpected(QStringLiteral("the disk does not take the file"));
    m_validator = validator;
    m_total = total;
    return writePrivateFile(recordOf(m_folder, m_name), record());
}

PartialModel::Outcome PartialModel::append(const QByteArray& bytes) {
    if (!m_file.isOpen() && !m_file.open(QIODevice::Append | QIODevice::Unbuffered))
        return tl::unexpected(m_file.errorString());
    const qint64 written = m_file.write(bytes);
    m_size += std::max<qint64>(written, 0);
    if (written != bytes.size()) return tl::unexpected(m_file.errorString());
    return {};
}

bool PartialModel::isWholeModel() {
    m_file.close();
    QFile file(m_file.fileName());
    return file.open(QIODevice::ReadOnly) && ModelFile::isWhole(file);
}

PartialModel::Outcome PartialModel::install() {
    m_file.close();
    if (!m_disk.sync(m_file.fileName()))
        return tl::unexpected(QStringLiteral("the disk does not take the file"));
    std::error_code error;
    std::filesystem::rename(QFile::encodeName(m_file.fileName()).toStdString(),
                            QFile::encodeName(modelPath()).toStdString(), error);
    if (error) return tl::unexpected(QString::fromLocal8Bit(error.message().c_str()));
    (void)m_disk.sync(m_folder); // the file is in place, whether or not that works here
    discard();
    return {};
}

void PartialModel::discard() {
    m_file.close();
    m_size = 0;
    discard(m_folder, m_name);
}

void PartialModel::discard(const QString& folder, const QString& name) {
    QFile::remove(recordOf(folder, name));
    QFile::remove(partOf(folder, name));
    QFile::remove(noteIn(folder));
}

bool PartialModel::isBegun(const QString& folder, const QString& name) {
    return QFileInfo(partOf(folder, name)).size() > 0 &&
           !readRecord(recordOf(folder, name)).validator.isEmpty();
}

QByteArray PartialModel::record() const {
    return QJsonDocument(
               QJsonObject{{QStringLiteral("source"), m_source},
                           {QStringLiteral("validator"), QString::fromLatin1(m_validator)},
                           {QStringLiteral("total"), m_total}})
        .toJson(QJsonDocument::Compact);
}

bool PartialModel::noteInterruption() const {
    if (m_size == 0 || m_validator.isEmpty()) return false;
    return writePrivateFile(noteIn(m_folder), record()).has_value();
}

void PartialModel::removeNote() const {
    QFile::remove(noteIn(m_folder));
}

} // namespace murlo
