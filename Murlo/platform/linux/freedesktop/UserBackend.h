#pragma once

#include "platform/LocalService.h"
#include "platform/Scheduler.h"

#include <QObject>
#include <QStringList>

#include <map>
#include <vector>

namespace murlo {

/// The backend of this user: the unit "murlo-backend.socket" of the systemd user manager, asked for
/// over the session bus, or the program "murlo-backend". Works without a bus and without systemd.
class UserBackend : public LocalService {
public:
    /// The port that the socket unit listens on.
    static constexpr quint16 unitPort = 8757;

    /// The program is looked for in `folders`, in this order. `tables` is a folder with tables
    /// "tcp" and "tcp6" as the kernel writes them; without one, the kernel is asked.
    UserBackend(Scheduler& scheduler, QStringList folders, QString tables = {});
    ~UserBackend() override;

    /// Where the program is for a Murlo in `applicationFolder`, installed or in a build folder.
    [[nodiscard]] static QStringList usualFolders(const QString& applicationFolder);

    [[nodiscard]] Listener listener(quint16 port) const override;
    void start(quint16 port, std::function<void(Listener)> done) override;

private:
    struct Start;

    void askServiceManager(quint16 port);
    void startProgram(quint16 port);
    void check(quint16 port);
    void finish(quint16 port);

    Scheduler& m_scheduler;
    QStringList m_folders;
    QString m_tables;
    std::map<quint16, Start> m_starts; ///< by port
    QObject m_owner;                   ///< of the calls under way
};

} // namespace murlo
