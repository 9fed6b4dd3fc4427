#pragma once

#include "platform/Scheduler.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

namespace murlo {

/// The applications installed on this desktop: the desktop entries in the XDG data folders. Read in
/// the background at construction, and again when a folder has changed; a call before the first
/// reading is complete blocks for it. Main thread.
class DesktopEntries {
public:
    struct Entry {
        QString id;   ///< the desktop file's name without ".desktop"
        QString name; ///< in the user's language
    };

    /// Looks in "applications" of the user's and the system's data folders, or in these folders.
    explicit DesktopEntries(Scheduler& scheduler, QStringList folders = {});

    /// The application that a process belongs to, found by, in this order: the launcher or sandbox
    /// that started it, the names of its windows (called only if needed), its program.
    [[nodiscard]] std::optional<Entry> ofProcess(qint64 pid,
                                                 const std::function<QStringList()>& windowClasses);
    [[nodiscard]] std::optional<Entry> withId(const QString& id);
    /// By the class or instance name of a window: what the entry declares, else its id or the last
    /// part of that, without regard to case.
    [[nodiscard]] std::optional<Entry> withWindowClass(const QString& name);
    /// By the file name of the program that the entry starts.
    [[nodiscard]] std::optional<Entry> withProgram(const QString& program);

private:
    struct Index;
    using IndexRef = std::shared_ptr<const Index>;

    void readInBackground();
    /// The index, with a new reading under way if a folder has changed since.
    const Index& index();

    Scheduler& m_scheduler;
    QStringList m_folders;
    IndexRef m_index;
    bool m_reading = false;
    Lifetime m_lifetime;
};

} // namespace murlo
