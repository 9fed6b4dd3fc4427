#include "ProgramFinder.h"

#include "AtspiCalls.h"

namespace murlo {

ProgramFinder::ProgramFinder(AtspiBus& bus)
    : m_bus(bus) {
    QObject::connect(&bus, &AtspiBus::closed, &bus,
                     m_lifetime.guard([this] { m_programs.clear(); }));
    QObject::connect(
        &bus, &AtspiBus::programLeft, &bus,
        m_lifetime.guard([this](const QString& service) { m_programs.remove(service); }));
}

void ProgramFinder::find(std::function<void()> done) {
    m_waiting.push_back(std::move(done));
    if (m_waiting.size() > 1) return;
    m_bus.send(atspi::getChildren({atspi::registryService, atspi::rootPath}),
               m_lifetime.guard([this](const QDBusMessage& reply) { listed(reply); }));
}

void ProgramFinder::listed(const QDBusMessage& programs) {
    std::vector<QDBusMessage> calls;
    QStringList services;
    for (const AtspiReference& program : atspi::referencesOf(programs)) {
        if (m_programs.contains(program.service) || services.contains(program.service)) continue;
        services.append(program.service);
        calls.push_back(atspi::getProcessId(program.service));
    }
    if (calls.empty()) {
        finish();
        return;
    }
    m_bus.send(calls, m_lifetime.guard([this, services](const AtspiBus::Replies& replies) {
        for (qsizetype i = 0; i < services.size(); ++i) {
            if (const auto pid = atspi::numberOf(replies[static_cast<std::size_t>(i)]))
                m_programs.insert(services[i], *pid);
        }
        finish();
    }));
}

void ProgramFinder::finish() {
    for (const auto& done : std::exchange(m_waiting, {})) done();
}

} // namespace murlo
