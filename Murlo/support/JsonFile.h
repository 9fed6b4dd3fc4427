#pragma once

#include <QJsonDocument>
#include <QString>

#include <functional>

namespace murlo {

/// A JSON file of the user's data, readable by its owner alone.
class JsonFile {
public:
    /// `area` is the prefix of the log lines about this file, such as "history".
    JsonFile(QString path, QString area);

    /// What the file holds, if `accepts` takes it; a null document when there is no file. A file
    /// that cannot be read, is no JSON or is not accepted is set aside under another name beside
    /// it, so that a later `write` destroys nothing, and the log says so.
    [[nodiscard]] QJsonDocument
    read(const std::function<bool(const QJsonDocument&)>& accepts) const;

    /// Replaces the file's content in one step: after a failure the old content stands, and the log
    /// says why. Any thread, one at a time.
    bool write(const QJsonDocument& document) const; // NOLINT(modernize-use-nodiscard): logged here

    [[nodiscard]] const QString& path() const { return m_path; }

private:
    void setAside(const QString& reason) const;

    QString m_path;
    QString m_area;
};

} // namespace murlo
