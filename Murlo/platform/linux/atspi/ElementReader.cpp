#include "ElementReader.h"

#include "Budgets.h"

#include <array>

namespace murlo {

namespace {

constexpr std::array asked{AtspiQuestion::role,       AtspiQuestion::states,
                           AtspiQuestion::interfaces, AtspiQuestion::attributes,
                           AtspiQuestion::parent,     AtspiQuestion::name};
constexpr std::array askedAbove{AtspiQuestion::role, AtspiQuestion::parent};

void setWindow(std::vector<std::shared_ptr<AtspiElement>>& chain,
               const std::shared_ptr<const AtspiElement>& window) {
    for (const auto& element : chain) {
        if (element == window) continue;
        element->topmost = window;
        // A web page may be rendered by a process of its own, inside another's window.
        if (element->reference.service != window->reference.service && window->program.pid > 0)
            element->program.pid = window->program.pid;
    }
}

} // namespace

ElementReader::ElementReader(AtspiBus& bus)
    : m_bus(bus) {
    QObject::connect(&bus, &AtspiBus::closed, &bus, [this] { m_programs.clear(); });
    QObject::connect(&bus, &AtspiBus::programLeft, &bus,
                     [this](const QString& service) { m_programs.remove(service); });
}

void ElementReader::read(const AtspiReference& object, Done done) {
    const auto reading = std::make_shared<Reading>(Reading{{}, std::move(done)});
    withProgram(object.service, [this, reading, object] { readLevel(reading, object); });
}

void ElementReader::withProgram(const QString& service, const std::function<void()>& then) {
    if (m_programs.contains(service)) {
        then();
        return;
    }
    m_bus.send({atspi::getProcessId(service), atspi::getToolkitName(service),
                atspi::getToolkitVersion(service)},
               [this, service, then](const AtspiBus::Replies& replies) {
                   m_programs.insert(service, {atspi::numberOf(replies[0]).value_or(0),
                                               atspi::tellsWindowExtentsOnly(
                                                   atspi::stringPropertyOf(replies[1]),
                                                   atspi::stringPropertyOf(replies[2]))});
                   then();
               });
}

void ElementReader::readLevel(const std::shared_ptr<Reading>& reading,
                              const AtspiReference& object) {
    ask(object, [this, reading, object](const std::shared_ptr<AtspiElement>& element,
                                        const AtspiReference& parent) {
        addLevel(reading, object, element, parent);
    });
}

void ElementReader::addLevel(const std::shared_ptr<Reading>& reading, const AtspiReference& object,
                             const std::shared_ptr<AtspiElement>& element,
                             const AtspiReference& parent) {
    auto& chain = reading->chain;
    if (!element || element->role == AtspiRole::application) {
        if (!chain.empty()) setWindow(chain, chain.back());
        // The program may not be ready yet: drop what was read of it, so that it is read again.
        else if (!element)
            m_programs.remove(object.service);
        reading->done(chain.empty() ? nullptr : chain.front());
        return;
    }
    if (!chain.empty()) chain.back()->around = element;
    chain.push_back(element);
    if (chain.size() < AccessibleElement::levels && !parent.isNull()) {
        readLevel(reading, parent);
        return;
    }
    reading->done(chain.front());
    climb(reading, object, parent, 0);
}

void ElementReader::climb(const std::shared_ptr<Reading>& reading, const AtspiReference& below,
                          const AtspiReference& object, int depth) {
    if (object.isNull() || depth > budget::levelsToWindow) {
        readWindow(reading, below);
        return;
    }
    std::vector<QDBusMessage> calls;
    addCalls(calls, object, askedAbove);
    m_bus.send(calls, [this, reading, below, object, depth](const AtspiBus::Replies& replies) {
        const AtspiAnswers answers = answersOf(replies.data(), askedAbove);
        if (!answers.role || *answers.role == AtspiRole::application)
            readWindow(reading, below);
        else
            climb(reading, object, answers.parent, depth + 1);
    });
}

void ElementReader::readWindow(const std::shared_ptr<Reading>& reading,
                               const AtspiReference& object) {
    if (object == reading->chain.back()->reference) {
        setWindow(reading->chain, reading->chain.back());
        return;
    }
    withProgram(object.service, [this, reading, object] {
        ask(object, [reading](const std::shared_ptr<AtspiElement>& window, const AtspiReference&) {
            if (window) setWindow(reading->chain, window);
        });
    });
}

void ElementReader::ask(
    const AtspiReference& object,
    const std::function<void(const std::shared_ptr<AtspiElement>&, const AtspiReference&)>& then) {
    std::vector<QDBusMessage> calls;
    addCalls(calls, object, asked);
    m_bus.send(calls, [this, object, then](const AtspiBus::Replies& replies) {
        const AtspiAnswers answers = answersOf(replies.data(), asked);
        then(elementFrom(object, m_programs.value(object.service), answers), answers.parent);
    });
}

} // namespace murlo
