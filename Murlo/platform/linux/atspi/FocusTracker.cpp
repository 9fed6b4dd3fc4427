#include "FocusTracker.h"

#include "AtspiRoles.h"

namespace murlo {

namespace {

// Seconds to wait for the focus event of a window that became active: most send one, and searching
// for the focus is slow in a program with many objects.
constexpr double settling = 0.1;

/// Focused, and visible as far as the toolkit knows. An object that is gone has no states.
bool isFocused(const std::optional<AtspiStates>& states) {
    return states && states->has(AtspiState::focused) &&
           (states->has(AtspiState::showing) || states->has(AtspiState::visible));
}

} // namespace

FocusTracker::FocusTracker(Scheduler& scheduler, AtspiBus& bus,
                           std::function<std::optional<qint64>()> frontmostPid)
    : m_scheduler(scheduler)
    , m_bus(bus)
    , m_reader(bus)
    , m_finder(scheduler, bus)
    , m_frontmostPid(std::move(frontmostPid)) {
    const auto objectEvents = QStringLiteral("org.a11y.atspi.Event.Object");
    bus.listen({objectEvents,
                QStringLiteral("StateChanged"),
                QString(),
                QStringLiteral("focused"),
                {QStringLiteral("object:state-changed:focused")}},
               this, SLOT(onFocusedChanged(QDBusMessage)));
    // Any member: GTK 4 writes it in lower case.
    bus.listen({QStringLiteral("org.a11y.atspi.Event.Window"),
                QString(),
                QString(),
                QString(),
                {QStringLiteral("window:activate"), QStringLiteral("window:deactivate")}},
               this, SLOT(onWindowEvent(QDBusMessage)));
    // Changes of the registry's list of programs; sent without registration.
    bus.listen({objectEvents,
                QStringLiteral("ChildrenChanged"),
                atspi::rootPath,
                QStringLiteral("add"),
                {}},
               this, SLOT(onProgramAdded(QDBusMessage)));
    connect(&bus, &AtspiBus::opened, this, &FocusTracker::discover);
    connect(&bus, &AtspiBus::closed, this, &FocusTracker::reset);
    connect(&bus, &AtspiBus::programLeft, this, [this](const QString& service) {
        m_programs.remove(service);
        if (m_activeWindow && m_activeWindow->service == service) m_activeWindow.reset();
    });
    if (bus.isOpen()) discover();
}

std::shared_ptr<const AtspiElement> FocusTracker::focused() {
    const auto frontmost = m_frontmostPid();
    if (m_activeWindow) {
        const auto active = m_programs.find(m_activeWindow->service);
        if (active != m_programs.end()) {
            if (!active->element && !active->object.isNull()) return nullptr; // it is being read
            const auto& element = latestIn(*m_activeWindow, *active).element;
            if (ownsActiveWindow(*active, element, frontmost)) return element;
        }
    }
    // The window that reported to be active is another program's, or none did.
    if (!frontmost) return nullptr;
    const Program* latest = nullptr;
    for (const auto& program : std::as_const(m_programs)) {
        if (!program.element || program.element->pid() != *frontmost) continue;
        if (!latest || latest->change < program.change) latest = &program;
    }
    if (latest) return latest->element;
    const std::pair situation(*frontmost, m_changes);
    if (std::exchange(m_sought, situation) != situation) discover();
    return nullptr;
}

const FocusTracker::Program& FocusTracker::latestIn(const AtspiReference& window,
                                                    const Program& owner) const {
    const Program* latest = &owner;
    for (const auto& program : m_programs) {
        const auto& element = program.element;
        const bool inside = element && element->topmost && element->topmost->reference == window;
        if (inside && program.change > latest->change) latest = &program;
    }
    return *latest;
}

bool FocusTracker::ownsActiveWindow(Program& program,
                                    const std::shared_ptr<const AtspiElement>& focused,
                                    std::optional<qint64> frontmost) {
    if (!focused) return false;
    const bool same = frontmost == focused->pid();
    program.pidComparable |= same;
    return same || !program.pidComparable;
}

void FocusTracker::onFocusedChanged(const QDBusMessage& signal) {
    const AtspiReference object{signal.service(), signal.path()};
    if (signal.arguments().value(1).toInt() != 0) {
        setFocus(object);
        return;
    }
    const auto program = m_programs.find(object.service);
    if (program == m_programs.end() || program->object != object) return;
    drop(*program);
    // If several objects were focused at once, the others still are; if the focus moves, the event
    // for the next object follows shortly.
    if (m_activeWindow && m_activeWindow->service == object.service)
        m_search = m_scheduler.after(settling, [this, window = *m_activeWindow] {
            lookForFocus(window, FocusFinder::Wanted::anything);
        });
}

void FocusTracker::onWindowEvent(const QDBusMessage& signal) {
    const AtspiReference window{signal.service(), signal.path()};
    const auto event = signal.member().toLower();
    if (event == QLatin1String("activate"))
        activate(window);
    else if (event == QLatin1String("deactivate") && m_activeWindow == window) {
        m_activeWindow.reset();
        m_search.cancel(); // the focused state in a background window does not count
    }
}

void FocusTracker::onProgramAdded(const QDBusMessage& signal) {
    // Some programs take the focus before they have joined the accessibility bus.
    const auto program = atspi::referenceArgumentOf(signal, 3);
    if (!program.isNull()) m_finder.findActiveWindow(program, activeWindowFound());
}

void FocusTracker::reset() {
    m_programs.clear();
    m_activeWindow.reset();
    m_search.cancel();
}

void FocusTracker::drop(Program& program) {
    program.object = {};
    program.element = nullptr;
    program.change = ++m_changes;
}

void FocusTracker::setFocus(const AtspiReference& object, const std::function<void()>& known) {
    auto& program = m_programs[object.service];
    const auto before = program.object == object ? nullptr : program.element;
    drop(program);
    program.object = object;
    if (m_activeWindow && m_activeWindow->service == object.service) m_search.cancel();
    m_reader.read(object, [this, before, change = program.change, object,
                           known](const std::shared_ptr<const AtspiElement>& element) {
        const auto reader = m_programs.find(object.service);
        if (reader == m_programs.end() || reader->change != change) return;
        reader->element = element;
        if (!element) reader->object = {};
        if (m_activeWindow && m_activeWindow->service == object.service)
            ownsActiveWindow(*reader, element, m_frontmostPid());
        if (takesText(before) && !takesText(element)) preferIfFocused(before, change);
        if (known) known();
    });
}

void FocusTracker::preferIfFocused(const std::shared_ptr<const AtspiElement>& before,
                                   quint64 change) {
    m_bus.send(atspi::getState(before->reference),
               [this, before, change](const QDBusMessage& reply) {
                   const auto program = m_programs.find(before->reference.service);
                   if (program == m_programs.end() || program->change != change) return;
                   if (!isFocused(atspi::statesOf(reply))) return;
                   program->object = before->reference;
                   program->element = before;
               });
}

void FocusTracker::recheck(std::function<void()> corrected) {
    const auto element = focused();
    if (!element) return; // then a search is under way already, if there is anything to find
    m_bus.send(atspi::getState(element->reference),
               [this, element, corrected = std::move(corrected)](const QDBusMessage& reply) {
                   const auto program = m_programs.find(element->reference.service);
                   // A timeout does not count: the program is only busy.
                   if (program == m_programs.end() || program->element != element ||
                       atspi::isTimeout(reply))
                       return;
                   const bool stillFocused = isFocused(atspi::statesOf(reply));
                   // A control may report itself as focused along with the text box, and Qt reports
                   // a combo box instead of the text in it.
                   if (stillFocused && (takesText(element) || !isControl(element->role))) return;
                   if (!stillFocused) {
                       drop(*program);
                       if (corrected) corrected();
                   }
                   const auto wanted =
                       stillFocused ? FocusFinder::Wanted::text : FocusFinder::Wanted::anything;
                   if (m_activeWindow && m_activeWindow->service == element->reference.service)
                       lookForFocus(*m_activeWindow, wanted, corrected);
               });
}

void FocusTracker::activate(const AtspiReference& window) {
    m_activeWindow = window;
    m_search.cancel();
    const auto& program = m_programs[window.service];
    const bool known = !program.object.isNull() && (!program.element || !program.element->topmost ||
                                                    program.element->topmost->reference == window);
    if (known) return;
    m_search = m_scheduler.after(
        settling, [this, window] { lookForFocus(window, FocusFinder::Wanted::anything); });
}

void FocusTracker::lookForFocus(const AtspiReference& window, FocusFinder::Wanted what,
                                std::function<void()> known) {
    const auto change = m_programs[window.service].change;
    m_finder.findFocus(
        window, what,
        [this, service = window.service, change] {
            const auto program = m_programs.constFind(service);
            return program != m_programs.cend() && program->change == change;
        },
        [this, known = std::move(known)](const AtspiReference& object) {
            setFocus(object, known);
        });
}

void FocusTracker::discover() {
    m_finder.findActiveWindows(activeWindowFound());
}

FocusFinder::Found FocusTracker::activeWindowFound() {
    return [this](const AtspiReference& window) {
        // A stopped (SIGSTOP) program may still report to be active along with the real one.
        if (!m_activeWindow)
            activate(window);
        else if (m_programs[window.service].object.isNull())
            lookForFocus(window, FocusFinder::Wanted::anything);
    };
}

} // namespace murlo
