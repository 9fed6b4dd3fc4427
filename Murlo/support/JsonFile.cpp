#include "support/JsonFile.h"

#include "support/Log.h"
#include "support/PrivateFile.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace murlo {

JsonFile::JsonFile(QString path, QString area)
    : m_path(std::move(path))
    , m_area(std::move(area)) {}

QJsonDocument JsonFile::read(const std::function<bool(const QJsonDocument&)>& accepts) const {
    if (!QFileInfo::exists(m_path)) return {};
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly)) {
        setAside(QStringLiteral("cannot be read (%1)").arg(file.errorString()));
        return {};
    }
    QJsonParseError error;
    QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    file.close();
    if (error.error != QJsonParseError::NoError) {
        setAside(QStringLiteral("is damaged (%1 at byte %2)")
                     .arg(error.errorString())
                     .arg(error.offset));
        return {};
    }
    if (!accepts(document)) {
        setAside(QStringLiteral("does not have the expected form"));
        return {};
    }
    return document;
}

void JsonFile::setAside(const QString& reason) const {
    const QString stamp =
        QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const QString stem = m_path + QStringLiteral(".damaged-") + stamp;
    QString aside = stem;
    for (int attempt = 2; QFileInfo::exists(aside); ++attempt) {
        aside = stem + QLatin1Char('-') + QString::number(attempt);
    }
    const QString name = QFileInfo(m_path).fileName();
    if (QFile::rename(m_path, aside)) {
        Log::write(QStringLiteral("%1: %2 %3, kept as %4")
                       .arg(m_area, name, reason, QFileInfo(aside).fileName()));
    } else {
        Log::write(
            QStringLiteral("%1: %2 %3 and could not be set aside").arg(m_area, name, reason));
    }
}

bool JsonFile::write(const QJsonDocument& document) const {
    const auto written = writePrivateFile(m_path, document.toJson(QJsonDocument::Indented));
    if (!written) {
        Log::write(QStringLiteral("%1: could not save %2: %3")
                       .arg(m_area, QFileInfo(m_path).fileName(), written.error()));
    }
    return written.has_value();
}

} // namespace murlo
