#pragma once

#include "platform/LocalService.h"
#include "platform/Scheduler.h"
#include "platform/linux/freedesktop/ListeningSockets.h"

#include <QObject>
#include <QStringList>

#include <map>
#include <memory>

namespace murlo {

/// The backend of this user: the unit "murlo-backend.socket" of the systemd user manager, asked for
/// over the session bus, or the program "murlo-backend". Works without a bus and without systemd.
class UserBackend : public LocalService {
public:
    /// Where the socket unit listens.
    [[nodiscard]] static LoopbackPort unitPort() { return {QStringLiteral("127.0.0.1"), 8757}; }

    /// The program is looked for in `folders`, in this order.
    UserBackend(Scheduler& scheduler, QStringList folders);
    ~UserBackend() override;

    /// Where the program is for a Murlo in `applicationFolder`, installed or in a build folder.
    [[nodiscard]] static QStringList usualFolders(const QString& applicationFolder);
    /// Who of these, all of one port, takes connections to `host`.
    [[nodiscard]] static Listener listenerOf(const QList<ListeningSocket>& sockets,
                                             const QString& host);

    [[nodiscard]] Listener listener(const LoopbackPort& at) const override;
    void start(const LoopbackPort& at, std::function<void(Listener)> done) override;
    void stop(const QString& databaseFolder, std::function<void(bool)> done) override;

private:
    struct Start;
    struct Stop;

    void askServiceManager(const LoopbackPort& at);
    void startProgram(const LoopbackPort& at);
    void check(const LoopbackPort& at);
    void finish(const LoopbackPort& at);
    /// Those that `stop` is to end.
    [[nodiscard]] QList<qint64> programs() const;
    void checkEnd();

    Scheduler& m_scheduler;
    QStringList m_folders;
    std::map<LoopbackPort, Start> m_starts;
    std::unique_ptr<Stop> m_stop; ///< under way
    QObject m_owner;              ///< of the calls under way
};

} // namespace murlo
