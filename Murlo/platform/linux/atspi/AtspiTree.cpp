#include "AtspiTree.h"

#include "HitList.h"
#include "WindowMatch.h"
#include "support/Log.h"

#include <QElapsedTimer>

#include <algorithm>

namespace murlo {

namespace {

constexpr int nodeBudget = 14000; ///< objects of one window that a walk looks at
constexpr int deepest = 59;
/// Milliseconds after which a walk goes no deeper: what it has found by then is read and handed
/// over while somebody still waits for it.
constexpr int walkLimit = 2000;
/// Milliseconds for the search through a window. It comes after the program has answered the first
/// questions, so it does not hang; but the first search makes toolkits build objects for all that
/// the window holds, which takes them 0.5 s for 20,000 cells of a list.
constexpr int searchLimit = 1500;

/// Roles that can be a text box without the state "editable".
const QList<AtspiRole> boxRoles{AtspiRole::terminal, AtspiRole::spinButton, AtspiRole::comboBox,
                                AtspiRole::dateEditor};

// Positions of the replies to what a program and a window are asked first.
enum ProgramReply { windowsReply, toolkitReply, versionReply };
enum WindowReply { roleReply, stateReply, nameReply, extentsReply, repliesPerWindow };

/// Neither a text box nor around one.
bool isBarren(AtspiRole role) {
    switch (role) {
    case AtspiRole::menuBar:
    case AtspiRole::menu:
    case AtspiRole::pushButton:
    case AtspiRole::checkBox:
    case AtspiRole::radioButton:
    case AtspiRole::slider:
    case AtspiRole::scrollBar:
    case AtspiRole::progressBar:
    case AtspiRole::image:
    case AtspiRole::icon:
    case AtspiRole::label:
    case AtspiRole::staticText:
        return true;
    default:
        return false;
    }
}

/// Whether an object can be seen. A toolkit that knows no places does not know what shows either:
/// there, all that could show says so, and what lies on a hidden page has no size.
bool isSeen(const AtspiStates& states, const QDBusMessage* extents) {
    if (!extents) return states.has(AtspiState::showing);
    return states.has(AtspiState::visible) && states.has(AtspiState::sensitive) &&
           !atspi::extentsOf(*extents).value_or(QRect()).isEmpty();
}

/// Opened by a click and closed by the next one.
bool isPopup(AtspiRole role) {
    return role == AtspiRole::window || role == AtspiRole::menu;
}

} // namespace

struct AtspiTree::Window {
    std::shared_ptr<AtspiElement> element;
    AccessibleApplication::Window result;
    HitList hits;
    int budget = nodeBudget;
};

struct AtspiTree::Reading {
    qint64 pid = 0;
    int mostWindows = 0;
    std::function<void(const AccessibleApplication&)> done;
    QList<WindowInfo> shown; ///< the process's windows, front to back
    std::vector<WindowRef> windows;
    std::optional<AccessibleNode> focused;
    int outstanding = 0; ///< programs, and then windows, that are being read
    QElapsedTimer clock;
    bool hangs = false;
    bool mayBeSilent = false; ///< the toolkit tells nothing of its windows unless it is made to
};

AtspiTree::AtspiTree(AtspiBus& bus, const Accessibility& focus, ShownWindows shown)
    : m_bus(bus)
    , m_focus(focus)
    , m_shown(std::move(shown))
    , m_programs(bus) {}

void AtspiTree::read(qint64 pid, int mostWindows,
                     std::function<void(const AccessibleApplication&)> done) {
    auto reading = std::make_shared<Reading>();
    reading->pid = pid;
    reading->mostWindows = mostWindows;
    reading->done = std::move(done);
    reading->clock.start();
    if (!m_programs.isFinding()) m_seen = m_shown(); // several readings begin together
    for (const WindowInfo& window : std::as_const(m_seen))
        if (window.pid == pid) reading->shown.append(window);
    m_programs.find(m_lifetime.guard([this, reading] { readPrograms(reading); }));
}

void AtspiTree::ask(const ReadingRef& reading, const std::vector<QDBusMessage>& calls,
                    std::function<void(const AtspiBus::Replies&)> then, int limit) {
    m_bus.send(calls, m_lifetime.guard([reading, then = std::move(then)](const auto& replies) {
        // Who hangs is not asked again: it has cost its time.
        if (std::ranges::any_of(replies, atspi::isTimeout)) reading->hangs = true;
        then(replies);
    }),
               limit);
}

void AtspiTree::readPrograms(const ReadingRef& reading) {
    reading->outstanding = 1;
    for (const QString& service : m_programs.servicesOf(reading->pid)) {
        ++reading->outstanding;
        const std::vector<QDBusMessage> calls{atspi::getChildren({service, atspi::rootPath}),
                                              atspi::getToolkitName(service),
                                              atspi::getToolkitVersion(service)};
        ask(reading, calls,
            [this, reading](const AtspiBus::Replies& replies) { readProgram(reading, replies); });
    }
    programRead(reading);
}

void AtspiTree::readProgram(const ReadingRef& reading, const AtspiBus::Replies& replies) {
    const QString name = atspi::stringPropertyOf(replies[toolkitReply]);
    const bool windowExtentsOnly =
        atspi::tellsWindowExtentsOnly(name, atspi::stringPropertyOf(replies[versionReply]));
    // It always shows a page: when none is found, it does not tell.
    reading->mayBeSilent = name == QLatin1String("Chromium");
    const auto coordinates =
        windowExtentsOnly ? atspi::Coordinates::window : atspi::Coordinates::screen;
    std::vector<AtspiReference> windows;
    std::vector<QDBusMessage> calls;
    for (const AtspiReference& window : atspi::referencesOf(replies[windowsReply])) {
        if (window.isNull()) continue;
        windows.push_back(window);
        calls.insert(calls.end(), {atspi::getRole(window), atspi::getState(window),
                                   atspi::getName(window), atspi::getExtents(window, coordinates)});
    }
    if (windows.empty() || reading->hangs) {
        programRead(reading);
        return;
    }
    ask(reading, calls,
        [this, reading, windows, windowExtentsOnly](const AtspiBus::Replies& answers) {
            for (std::size_t i = 0; i < windows.size(); ++i)
                addWindow(reading, windows[i], &answers[i * repliesPerWindow], windowExtentsOnly);
            programRead(reading);
        });
}

void AtspiTree::addWindow(const ReadingRef& reading, const AtspiReference& object,
                          const QDBusMessage* replies, bool windowExtentsOnly) {
    const auto role = atspi::roleOf(replies[roleReply]);
    const auto states = atspi::statesOf(replies[stateReply]);
    if (!role || !states || !states->has(AtspiState::showing)) return;
    auto window = std::make_shared<Window>();
    auto element = std::make_shared<AtspiElement>();
    element->reference = object;
    element->processId = reading->pid;
    element->role = *role;
    element->states = *states;
    element->description = describe(*role, *states, {}, {});
    element->title = atspi::stringPropertyOf(replies[nameReply]);
    element->knowsWindowExtentsOnly = windowExtentsOnly;
    const QRect extents = atspi::extentsOf(replies[extentsReply]).value_or(QRect());
    (windowExtentsOnly ? element->windowExtents : element->screenExtents) = extents;
    QRectF frame(extents);
    if (windowExtentsOnly && !reading->shown.isEmpty()) {
        const auto named = std::ranges::find(reading->shown, element->title, &WindowInfo::title);
        const WindowInfo& shown = named != reading->shown.end() ? *named : reading->shown.front();
        frame.moveTopLeft(windowOrigin(shown.content, frame.size()));
    }
    window->element = element;
    window->result.root.element = element;
    window->result.root.role = element->description.role;
    window->result.root.frame = frame;
    window->result.title = element->title;
    window->result.isMain = states->has(AtspiState::active);
    window->result.isPopup = isPopup(*role);
    reading->windows.push_back(std::move(window));
}

void AtspiTree::programRead(const ReadingRef& reading) {
    if (--reading->outstanding > 0) return;
    auto& windows = reading->windows;
    std::stable_partition(windows.begin(), windows.end(),
                          [](const auto& window) { return window->result.isMain; });
    std::vector<AccessibleApplication::Window*> results;
    results.reserve(windows.size());
    for (const WindowRef& window : windows) results.push_back(&window->result);
    markUnseen(results, reading->shown);
    std::erase_if(windows, [](const WindowRef& window) { return window->result.minimized; });
    if (windows.size() > static_cast<std::size_t>(reading->mostWindows))
        windows.resize(static_cast<std::size_t>(reading->mostWindows));
    reading->outstanding = 1;
    for (const WindowRef& window : windows) readWindow(reading, window);
    if (!reading->hangs) readFocus(reading);
    windowRead(reading);
}

void AtspiTree::readWindow(const ReadingRef& reading, const WindowRef& window) {
    ++reading->outstanding;
    if (reading->hangs) {
        windowRead(reading);
        return;
    }
    const AtspiReference& object = window->element->reference;
    const std::vector<QDBusMessage> calls{
        atspi::getMatches(object, {AtspiState::showing, AtspiState::editable}, {}, 0),
        atspi::getMatches(object, {AtspiState::showing}, boxRoles, 0),
        atspi::getMatches(object, {AtspiState::showing}, {AtspiRole::documentWeb}, 0)};
    ask(
        reading, calls,
        [this, reading, window, object](const AtspiBus::Replies& replies) {
            if (atspi::isUnknown(replies.front())) {
                walk(reading, window, {object}, 0);
                return;
            }
            for (const QDBusMessage& reply : replies)
                for (const AtspiReference& hit : atspi::referencesOf(reply)) window->hits.add(hit);
            readHits(reading, window);
        },
        searchLimit);
}

void AtspiTree::walk(const ReadingRef& reading, const WindowRef& window,
                     const std::vector<AtspiReference>& level, int depth) {
    const bool needsExtents = window->element->knowsWindowExtentsOnly;
    std::vector<QDBusMessage> calls;
    std::vector<AtspiReference> asked;
    for (const AtspiReference& object : level) {
        if (window->budget-- < 1) break;
        asked.push_back(object);
        calls.insert(calls.end(),
                     {atspi::getRole(object), atspi::getState(object), atspi::getChildren(object)});
        if (needsExtents) calls.push_back(atspi::getExtents(object, atspi::Coordinates::window));
    }
    if (asked.empty() || depth > deepest || reading->hangs ||
        reading->clock.hasExpired(walkLimit)) {
        readHits(reading, window);
        return;
    }
    ask(reading, calls, [=, this](const AtspiBus::Replies& replies) {
        const std::size_t each = needsExtents ? 4 : 3;
        std::vector<AtspiReference> next;
        for (std::size_t i = 0; i < asked.size(); ++i) {
            const QDBusMessage* const reply = &replies[each * i];
            const auto role = atspi::roleOf(reply[0]);
            const auto states = atspi::statesOf(reply[1]);
            if (!role || !states || !isSeen(*states, needsExtents ? &reply[3] : nullptr) ||
                isBarren(*role))
                continue;
            if (states->has(AtspiState::editable) || boxRoles.contains(*role) ||
                *role == AtspiRole::documentWeb)
                window->hits.add(asked[i]);
            for (const AtspiReference& child : atspi::referencesOf(reply[2])) {
                if (!child.isNull()) next.push_back(child);
            }
        }
        walk(reading, window, next, depth + 1);
    });
}

void AtspiTree::readHits(const ReadingRef& reading, const WindowRef& window) {
    const auto coordinates = window->element->knowsWindowExtentsOnly ? atspi::Coordinates::window
                                                                     : atspi::Coordinates::screen;
    const std::vector<QDBusMessage> calls = window->hits.questions(coordinates);
    if (calls.empty() || reading->hangs) {
        windowRead(reading);
        return;
    }
    ask(reading, calls, [this, reading, window](const AtspiBus::Replies& replies) {
        AccessibleNode& root = window->result.root;
        root.children = window->hits.nodes(replies, window->element, root.frame->topLeft());
        windowRead(reading);
    });
}

void AtspiTree::windowRead(const ReadingRef& reading) {
    if (--reading->outstanding > 0) return;
    AccessibleApplication application;
    for (const WindowRef& window : reading->windows)
        application.windows.push_back(std::move(window->result));
    application.focused = reading->focused;
    application.hung = reading->hangs;
    application.silent = reading->mayBeSilent && !reading->hangs && !application.windows.empty() &&
                         std::ranges::all_of(application.windows, [](const auto& window) {
                             return window.root.children.empty();
                         });
    reading->done(application);
}

void AtspiTree::readFocus(const ReadingRef& reading) {
    const auto focused = std::dynamic_pointer_cast<const AtspiElement>(m_focus.focusedElement());
    if (!focused || focused->processId != reading->pid) return;
    // A paragraph of a document that is one box as a whole.
    if (focused->parent && focused->parent->role == AtspiRole::documentText) return;
    if (focused->knowsWindowExtentsOnly) {
        reading->focused = nodeOf(focused);
        reading->focused->frame = m_focus.frame(focused);
        return;
    }
    ++reading->outstanding;
    // The window may have been moved since the focus came.
    ask(reading, {atspi::getExtents(focused->reference, atspi::Coordinates::screen)},
        [this, reading, focused](const AtspiBus::Replies& replies) {
            if (const auto extents = atspi::extentsOf(replies.front())) {
                reading->focused = nodeOf(focused);
                reading->focused->frame = QRectF(*extents);
            }
            windowRead(reading);
        });
}

} // namespace murlo
