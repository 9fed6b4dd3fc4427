#include "ElementReader.h"

#include "AtspiCalls.h"

namespace murlo {

namespace {

// Positions of the replies to `ElementReader::calls`.
enum {
    roleReply,
    stateReply,
    interfacesReply,
    attributesReply,
    parentReply,
    nameReply,
    windowReply,
    screenReply
};

// Deeper trees than this are broken ones.
constexpr int deepest = 100;

void setWindow(std::vector<std::shared_ptr<AtspiElement>>& chain,
               const std::shared_ptr<const AtspiElement>& window) {
    for (const auto& element : chain) {
        if (element == window) continue;
        element->window = window;
        // What shows a page may be a program of its own, in the window of another.
        if (element->reference.service != window->reference.service && window->processId > 0)
            element->processId = window->processId;
    }
}

} // namespace

bool AtspiElement::isSame(const AccessibleElement& other) const {
    const auto* const element = dynamic_cast<const AtspiElement*>(&other);
    return element && element->reference == reference;
}

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
    m_bus.send(calls(object), [this, reading, object](const AtspiBus::Replies& replies) {
        addLevel(reading, object, replies);
    });
}

void ElementReader::addLevel(const std::shared_ptr<Reading>& reading, const AtspiReference& object,
                             const AtspiBus::Replies& replies) {
    auto& chain = reading->chain;
    const auto element = elementFrom(object, replies);
    if (!element || element->role == AtspiRole::application) {
        if (!chain.empty()) setWindow(chain, chain.back());
        // What a program said of itself before it was ready to answer is asked again.
        else if (!element)
            m_programs.remove(object.service);
        reading->done(chain.empty() ? nullptr : chain.front());
        return;
    }
    if (!chain.empty()) chain.back()->parent = element;
    chain.push_back(element);
    const auto parent = atspi::referencePropertyOf(replies[parentReply]);
    if (chain.size() < levels && !parent.isNull()) {
        readLevel(reading, parent);
        return;
    }
    reading->done(chain.front());
    climb(reading, object, parent, 0);
}

void ElementReader::climb(const std::shared_ptr<Reading>& reading, const AtspiReference& below,
                          const AtspiReference& object, int depth) {
    if (object.isNull() || depth > deepest) {
        readWindow(reading, below);
        return;
    }
    m_bus.send({atspi::getRole(object), atspi::getParent(object)},
               [this, reading, below, object, depth](const AtspiBus::Replies& replies) {
                   const auto role = atspi::roleOf(replies[0]);
                   if (!role || *role == AtspiRole::application)
                       readWindow(reading, below);
                   else
                       climb(reading, object, atspi::referencePropertyOf(replies[1]), depth + 1);
               });
}

void ElementReader::readWindow(const std::shared_ptr<Reading>& reading,
                               const AtspiReference& object) {
    if (object == reading->chain.back()->reference) {
        setWindow(reading->chain, reading->chain.back());
        return;
    }
    withProgram(object.service, [this, reading, object] {
        m_bus.send(calls(object), [this, reading, object](const AtspiBus::Replies& replies) {
            if (const auto window = elementFrom(object, replies)) setWindow(reading->chain, window);
        });
    });
}

std::vector<QDBusMessage> ElementReader::calls(const AtspiReference& object) const {
    std::vector<QDBusMessage> calls{
        atspi::getRole(object),
        atspi::getState(object),
        atspi::getInterfaces(object),
        atspi::getAttributes(object),
        atspi::getParent(object),
        atspi::getName(object),
        atspi::getExtents(object, atspi::Coordinates::window),
    };
    // A toolkit that doesn't know would complain in its log.
    if (!m_programs.value(object.service).knowsWindowExtentsOnly)
        calls.push_back(atspi::getExtents(object, atspi::Coordinates::screen));
    return calls;
}

std::shared_ptr<AtspiElement> ElementReader::elementFrom(const AtspiReference& object,
                                                         const AtspiBus::Replies& replies) {
    const auto role = atspi::roleOf(replies[roleReply]);
    if (!role) return nullptr;
    const auto program = m_programs.value(object.service);
    auto element = std::make_shared<AtspiElement>();
    element->reference = object;
    element->processId = program.pid;
    element->role = *role;
    element->states = atspi::statesOf(replies[stateReply]).value_or(AtspiStates());
    element->description =
        describe(*role, element->states, atspi::stringsOf(replies[interfacesReply]),
                 atspi::attributesOf(replies[attributesReply]));
    element->title = atspi::stringPropertyOf(replies[nameReply]);
    if (replies.size() > screenReply)
        element->screenExtents = atspi::extentsOf(replies[screenReply]).value_or(QRect());
    element->windowExtents = atspi::extentsOf(replies[windowReply]).value_or(QRect());
    element->knowsWindowExtentsOnly = program.knowsWindowExtentsOnly;
    return element;
}

} // namespace murlo
