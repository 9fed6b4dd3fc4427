#pragma once

#include "AtspiBus.h"

#include <QHash>

namespace murlo {

/// Which program on the accessibility bus is which process. The bus itself answers for that, so a
/// program that hangs is found as quickly as any. Main thread; it lives as long as the bus.
class ProgramFinder {
public:
    explicit ProgramFinder(AtspiBus& bus);

    /// Learns of the programs that came since the last time, then calls back, at once when there
    /// is nothing to ask. Calls that come meanwhile share the questions that are under way.
    void find(std::function<void()> done);
    [[nodiscard]] bool isFinding() const { return !m_waiting.empty(); }
    /// The names of a process on the bus; known after `find`.
    [[nodiscard]] QStringList servicesOf(qint64 pid) const { return m_programs.keys(pid); }

private:
    void listed(const QDBusMessage& programs);
    void finish();

    AtspiBus& m_bus;
    QHash<QString, qint64> m_programs;
    std::vector<std::function<void()>> m_waiting;
    Lifetime m_lifetime;
};

} // namespace murlo
