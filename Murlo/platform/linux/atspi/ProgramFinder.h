#pragma once

#include "AtspiBus.h"

#include <QHash>

namespace murlo {

/// Maps processes to programs on the accessibility bus. The bus daemon answers this, so hung
/// programs cause no delay. Main thread; it must live as long as the bus.
class ProgramFinder {
public:
    explicit ProgramFinder(AtspiBus& bus);

    /// Looks up the programs that were added since the last call, then calls back; immediately if
    /// there are none. Concurrent calls share the requests in flight.
    void find(std::function<void()> done);
    [[nodiscard]] bool isFinding() const { return !m_waiting.empty(); }
    /// The bus names of a process; valid after `find`.
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
