#pragma once

#include <QString>
#include <QStringList>

#include <optional>

class QProcess;

namespace murlo {

/// Makes a program that is about to be started independent of this one: a session of its own,
/// without this program's terminal, files and blocked signals.
void makeIndependent(QProcess& process);

/// Starts a program that outlives this one; its process number, or nothing if it could not be
/// started. Main thread.
[[nodiscard]] std::optional<qint64> startDetached(const QString& program,
                                                  const QStringList& arguments);

} // namespace murlo
