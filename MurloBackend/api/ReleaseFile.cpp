#include "ReleaseFile.h"

#include "MurloBackend/api/Bodies.h"
#include "MurloBackend/support/Log.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

namespace murlo::backend {

namespace {

const QList<QString>& memberNames() {
    static const QList<QString> names{QStringLiteral("latest"), QStringLiteral("minimum"),
                                      QStringLiteral("url"), QStringLiteral("notes")};
    return names;
}

} // namespace

ReleaseFile::ReleaseFile(QString path, QString ownVersion)
    : m_path(std::move(path)) {
    QJsonObject own;
    for (const QString& name : memberNames()) own[name] = QString();
    own[memberNames().first()] = ownVersion;
    m_own = QJsonDocument(own).toJson(QJsonDocument::Compact);
    m_record = m_own;
}

QByteArray ReleaseFile::record() {
    if (m_path.isEmpty()) return m_own;
    const QFileInfo info(m_path);
    const std::lock_guard lock(m_lock);
    const qint64 size = info.exists() ? info.size() : -1;
    if (size != m_size || info.lastModified() != m_changed) {
        m_size = size;
        m_changed = info.lastModified();
        read();
    }
    return m_record;
}

void ReleaseFile::read() {
    m_record = m_own;
    QFile file(m_path);
    std::optional<QJsonObject> content;
    if (file.open(QIODevice::ReadOnly)) content = bodies::object(file.readAll());
    QJsonObject record;
    for (const QString& name : memberNames()) {
        if (!content || !(*content)[name].isString()) {
            say(Severity::warning,
                QStringLiteral("release-file: %1 is missing or no release record").arg(m_path));
            return;
        }
        record[name] = (*content)[name];
    }
    m_record = QJsonDocument(record).toJson(QJsonDocument::Compact);
}

} // namespace murlo::backend
