#include "AtspiTree.h"

#include "AtspiRoles.h"
#include "Budgets.h"
#include "Restraint.h"
#include "WindowMatch.h"

#include <algorithm>
#include <array>

namespace murlo {

namespace {

// Indices of the replies to the first calls to a program.
enum ProgramReply { windowsReply, toolkitReply, versionReply };

constexpr std::array windowQuestions{AtspiQuestion::role, AtspiQuestion::states,
                                     AtspiQuestion::name, AtspiQuestion::extents};
constexpr std::array placeQuestions{AtspiQuestion::extents};

/// Roles of windows that a click opens and the next one closes.
bool isPopup(AtspiRole role) {
    return role == AtspiRole::window || role == AtspiRole::menu;
}

} // namespace

class AtspiTree::Handle : public TreeReading {
public:
    explicit Handle(AtspiReadingRef reading)
        : m_reading(std::move(reading)) {}
    ~Handle() override { m_reading->done = nullptr; }
    void handOver() override {
        const AtspiReadingRef reading = m_reading; // the callback may destroy this handle
        reading->end(false);
    }

private:
    AtspiReadingRef m_reading;
};

AtspiTree::AtspiTree(AtspiBus& bus, const Accessibility& focus, ShownWindows shown)
    : m_focus(focus)
    , m_shown(std::move(shown))
    , m_programs(bus)
    , m_windows(bus) {}

std::unique_ptr<TreeReading>
AtspiTree::read(qint64 pid, int mostWindows,
                std::function<void(const AccessibleApplication&)> done) {
    auto reading = std::make_shared<AtspiReading>();
    reading->pid = pid;
    reading->mostWindows = mostWindows;
    reading->done = std::move(done);
    reading->clock.start();
    if (!m_programs.isFinding()) m_seen = m_shown(); // readings that start together share one list
    for (const WindowInfo& window : std::as_const(m_seen))
        if (window.pid == pid) reading->shown.append(window);
    m_programs.find(m_lifetime.guard([this, reading] {
        if (!reading->isOver()) readPrograms(reading);
    }));
    return std::make_unique<Handle>(reading);
}

void AtspiTree::readPrograms(const AtspiReadingRef& reading) {
    reading->outstanding = 1;
    for (const QString& service : m_programs.servicesOf(reading->pid)) {
        ++reading->outstanding;
        m_windows.ask(
            reading,
            {atspi::getChildren({service, atspi::rootPath}), atspi::getToolkitName(service),
             atspi::getToolkitVersion(service)},
            [this, reading](const AtspiBus::Replies& replies) { readProgram(reading, replies); });
    }
    programRead(reading);
}

void AtspiTree::readProgram(const AtspiReadingRef& reading, const AtspiBus::Replies& replies) {
    const QString name = atspi::stringPropertyOf(replies[toolkitReply]);
    const AtspiProgram program{
        reading->pid,
        atspi::tellsWindowExtentsOnly(name, atspi::stringPropertyOf(replies[versionReply]))};
    // Its windows always show a page: if none is found, its accessibility is switched off.
    reading->mayBeSilent = name == QLatin1String("Chromium");
    if (!searchesSafely(name)) reading->searchable = false;
    std::vector<AtspiReference> windows;
    std::vector<QDBusMessage> calls;
    for (const AtspiReference& window : atspi::referencesOf(replies[windowsReply])) {
        if (window.isNull()) continue;
        if (windows.size() == budget::topLevels) break;
        windows.push_back(window);
        addCalls(calls, window, windowQuestions, program.coordinates());
    }
    if (windows.empty() || reading->hangs) {
        programRead(reading);
        return;
    }
    m_windows.ask(reading, calls, [=, this](const AtspiBus::Replies& answers) {
        for (std::size_t i = 0; i < windows.size(); ++i)
            addWindow(reading, windows[i], program,
                      answersOf(&answers[i * windowQuestions.size()], windowQuestions));
        programRead(reading);
    });
}

void AtspiTree::addWindow(const AtspiReadingRef& reading, const AtspiReference& object,
                          const AtspiProgram& program, const AtspiAnswers& answers) {
    const auto element = elementFrom(object, program, answers);
    if (!element || !element->states.has(AtspiState::showing)) return;
    const QString& title = element->description.title;
    QRectF frame(answers.extents.value_or(QRect()));
    if (program.knowsWindowExtentsOnly && !reading->shown.isEmpty()) {
        const auto named = std::ranges::find(reading->shown, title, &WindowInfo::title);
        const WindowInfo& shown = named != reading->shown.end() ? *named : reading->shown.front();
        frame.moveTopLeft(windowOrigin(shown.content, frame.size()));
    }
    auto window = std::make_shared<AtspiWindow>();
    window->element = element;
    window->result.root.element = element;
    window->result.root.facts = element->description;
    window->result.root.frame = frame;
    window->result.title = title;
    window->result.isMain = element->states.has(AtspiState::active);
    window->result.isPopup = isPopup(element->role);
    reading->windows.push_back(std::move(window));
}

void AtspiTree::programRead(const AtspiReadingRef& reading) {
    if (--reading->outstanding > 0) return;
    auto& windows = reading->windows;
    std::stable_partition(windows.begin(), windows.end(),
                          [](const auto& window) { return window->result.isMain; });
    std::vector<AccessibleApplication::Window*> results;
    results.reserve(windows.size());
    for (const AtspiWindowRef& window : windows) results.push_back(&window->result);
    markUnseen(results, reading->shown);
    std::erase_if(windows, [](const AtspiWindowRef& window) { return window->result.minimized; });
    if (windows.size() > static_cast<std::size_t>(reading->mostWindows))
        windows.resize(static_cast<std::size_t>(reading->mostWindows));
    reading->outstanding = 1;
    if (!reading->hangs) {
        reading->outstanding += static_cast<int>(windows.size());
        for (const AtspiWindowRef& window : windows) m_windows.read(reading, window);
        readFocus(reading);
    }
    reading->partRead();
}

void AtspiTree::readFocus(const AtspiReadingRef& reading) {
    const auto focused = std::dynamic_pointer_cast<const AtspiElement>(m_focus.focusedElement());
    if (!focused || focused->program.pid != reading->pid) return;
    // A paragraph: the document around it is the text box.
    if (focused->around && focused->around->role == AtspiRole::documentText) return;
    ++reading->outstanding;
    std::vector<QDBusMessage> calls;
    addCalls(calls, focused->reference, placeQuestions, focused->program.coordinates());
    m_windows.ask(reading, calls, [reading, focused](const AtspiBus::Replies& replies) {
        if (const auto extents = answersOf(replies.data(), placeQuestions).extents)
            reading->focused = AccessibleNode{
                focused,
                focused->description,
                focused->program.onScreen(*extents, reading->originOf(focused->topmost)),
                {}};
        reading->partRead();
    });
}

} // namespace murlo
