#pragma once

#include "platform/SingleInstance.h"

#include <QLocalServer>
#include <QLockFile>

#include <memory>

namespace murlo {

/// A lock file and a local socket in the user's runtime folder. A lock whose process has died is
/// taken over.
class SocketSingleInstance : public SingleInstance {
public:
    /// `folder` must be private to the user ($XDG_RUNTIME_DIR, else the support folder).
    explicit SocketSingleInstance(const QString& folder);
    ~SocketSingleInstance() override;

    [[nodiscard]] Start acquire(const QStringList& arguments) override;
    void beginEnding() override { m_server.close(); }
    void release() override;
    [[nodiscard]] tl::expected<void, QString> startAnother(const QStringList& arguments) override;
    [[nodiscard]] bool isHeldByAnother() const override;
    [[nodiscard]] bool awaitEnd(qint64 pid, double seconds) const override;

private:
    /// Whether the instance that holds the lock has accepted the arguments.
    [[nodiscard]] bool handOver(const QStringList& arguments) const;
    void receive(QLocalSocket* from);

    QString m_program; ///< the path that was this program's at the start
    QString m_socketPath;
    std::unique_ptr<QLockFile> m_lock;
    QLocalServer m_server;
};

} // namespace murlo
