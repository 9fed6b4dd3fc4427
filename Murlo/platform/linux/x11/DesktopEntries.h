#pragma once

#include <QDateTime>
#include <QHash>
#include <QString>
#include <QStringList>

#include <optional>

namespace murlo {

/// The applications installed on this desktop: the desktop entries in the XDG data folders. Read at
/// the first question and again when a folder changed. Main thread.
class DesktopEntries {
public:
    struct Entry {
        QString id;   ///< the desktop file's name without ".desktop"
        QString name; ///< in the user's language
    };

    /// Looks in "applications" of the user's and the system's data folders, or in these folders.
    explicit DesktopEntries(QStringList folders = {});

    [[nodiscard]] std::optional<Entry> withId(const QString& id);
    /// By the class or instance name of a window: what the entry declares, else its id or the last
    /// part of that, without regard to case.
    [[nodiscard]] std::optional<Entry> withWindowClass(const QString& name);
    /// By the file name of the program that the entry starts.
    [[nodiscard]] std::optional<Entry> withProgram(const QString& program);

private:
    void refresh();
    void readFolder(const QString& folder);
    void read(const QString& path, const QString& id);

    QStringList m_folders;
    QHash<QString, QDateTime> m_modified; ///< when a folder last changed
    QHash<QString, Entry> m_byId;
    QHash<QString, QString> m_byClass; ///< ids by lower-case names
    QHash<QString, QString> m_byShortId;
    QHash<QString, QString> m_byProgram;
};

} // namespace murlo
