#include "AtspiTree.h"

#include "HitList.h"
#include "Restraint.h"
#include "WindowMatch.h"
#include "support/Log.h"

#include <QElapsedTimer>

#include <algorithm>
#include <deque>

namespace murlo {

namespace {

constexpr int nodeBudget = 14000; ///< objects of one window that a walk looks at
/// Objects that are looked at before a window is searched: a page with a table of many thousand
/// rows keeps its browser busy for ten seconds when the search comes to it.
constexpr int scoutBudget = 400;
constexpr int deepest = 59;
/// Milliseconds after which a walk goes no further.
constexpr int walkLimit = 2000;
/// Milliseconds for the search through a window. It comes after the program has answered the first
/// questions, so it does not hang; but the first search makes it build objects for all that the
/// window holds.
constexpr int searchLimit = 1500;
/// Objects that one search may find; among those of a text in which each paragraph is one are
/// others that matter.
constexpr int mostHits = 1000;
constexpr std::size_t mostTopLevels = 60; ///< windows of one program, shown or not
/// Questions in flight to all windows together: as many answers may wait when the main thread gets
/// to them, and it is to be through with them in a few milliseconds.
constexpr std::size_t mostQuestions = 160;
constexpr std::size_t questionsPerHit = 7;
constexpr std::size_t questionsPerOuter = 2;

/// Roles that can be a text box without the state "editable".
const QList<AtspiRole> boxRoles{AtspiRole::terminal, AtspiRole::spinButton, AtspiRole::comboBox,
                                AtspiRole::dateEditor};

// Positions of the replies to what a program and a window are asked first.
enum ProgramReply { windowsReply, toolkitReply, versionReply };
enum WindowReply { roleReply, stateReply, nameReply, extentsReply, repliesPerWindow };

/// Whether an object can be seen. A toolkit that knows no places does not know what shows either:
/// there, all that could show says so, and what lies on a hidden page has no size.
bool isSeen(const AtspiStates& states, const QDBusMessage* extents) {
    if (!extents) return states.has(AtspiState::showing);
    return states.has(AtspiState::visible) && states.has(AtspiState::sensitive) &&
           !atspi::extentsOf(*extents).value_or(QRect()).isEmpty();
}

/// Whether an object is worth a closer look.
bool mayBeBox(AtspiRole role, const AtspiStates& states) {
    return states.has(AtspiState::editable) || boxRoles.contains(role) ||
           role == AtspiRole::documentWeb ||
           (role == AtspiRole::paragraph && states.has(AtspiState::focusable));
}

/// Opened by a click and closed by the next one.
bool isPopup(AtspiRole role) {
    return role == AtspiRole::window || role == AtspiRole::menu;
}

} // namespace

struct AtspiTree::Window {
    struct Open {
        AtspiReference object;
        int depth;
    };

    std::shared_ptr<AtspiElement> element;
    AccessibleApplication::Window result;
    HitList hits;
    struct Entrance {
        AtspiReference object;
        int children;
    };
    std::deque<Open> open;          ///< what a walk has still to look at, from the outside in
    std::deque<Entrance> entrances; ///< looked at, and to be entered
    int budget = nodeBudget;
    bool scouting = false; ///< the walk is to end in a search, unless it finds what forbids that
    std::shared_ptr<int> turn; ///< held while it is being read
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
    bool searchable = true;   ///< the toolkit's own search can be used

    [[nodiscard]] bool isOver() const { return !done; }
    /// Hands over what has been read.
    void end(bool complete) {
        if (isOver()) return;
        AccessibleApplication application;
        for (const WindowRef& window : windows) {
            window->result.root.children = window->hits.takeNodes();
            application.windows.push_back(std::move(window->result));
        }
        application.focused = focused;
        application.hung = hangs;
        application.silent = complete && mayBeSilent && !hangs && !application.windows.empty() &&
                             std::ranges::all_of(application.windows, [](const auto& window) {
                                 return window.root.children.empty();
                             });
        std::exchange(done, nullptr)(application);
    }
};

class AtspiTree::Handle : public TreeReading {
public:
    explicit Handle(ReadingRef reading)
        : m_reading(std::move(reading)) {}
    ~Handle() override { m_reading->done = nullptr; }
    void handOver() override {
        const ReadingRef reading = m_reading; // who gets it may destroy this
        reading->end(false);
    }

private:
    ReadingRef m_reading;
};

AtspiTree::AtspiTree(AtspiBus& bus, const Accessibility& focus, ShownWindows shown)
    : m_bus(bus)
    , m_focus(focus)
    , m_shown(std::move(shown))
    , m_programs(bus) {}

std::unique_ptr<TreeReading>
AtspiTree::read(qint64 pid, int mostWindows,
                std::function<void(const AccessibleApplication&)> done) {
    auto reading = std::make_shared<Reading>();
    reading->pid = pid;
    reading->mostWindows = mostWindows;
    reading->done = std::move(done);
    reading->clock.start();
    if (!m_programs.isFinding()) m_seen = m_shown(); // several readings begin together
    for (const WindowInfo& window : std::as_const(m_seen))
        if (window.pid == pid) reading->shown.append(window);
    m_programs.find(m_lifetime.guard([this, reading] {
        if (!reading->isOver()) readPrograms(reading);
    }));
    return std::make_unique<Handle>(reading);
}

std::size_t AtspiTree::portion(std::size_t questions) const {
    constexpr std::size_t fewest = 4;
    const auto windows = static_cast<std::size_t>(m_turns.use_count() - 1);
    return std::max(fewest, mostQuestions / std::max<std::size_t>(windows, 1) / questions);
}

void AtspiTree::ask(const ReadingRef& reading, const std::vector<QDBusMessage>& calls,
                    std::function<void(const AtspiBus::Replies&)> then, int limit) {
    m_bus.send(calls, m_lifetime.guard([reading, then = std::move(then)](const auto& replies) {
        if (reading->isOver()) return;
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
        if (m_slow.contains(service)) reading->searchable = false;
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
    if (!searchesSafely(name)) reading->searchable = false;
    const auto coordinates =
        windowExtentsOnly ? atspi::Coordinates::window : atspi::Coordinates::screen;
    std::vector<AtspiReference> windows;
    std::vector<QDBusMessage> calls;
    for (const AtspiReference& window : atspi::referencesOf(replies[windowsReply])) {
        if (window.isNull()) continue;
        if (windows.size() == mostTopLevels) break;
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
    window->turn = m_turns;
    window->scouting = reading->searchable;
    if (window->scouting) window->budget = scoutBudget;
    window->open.push_back({window->element->reference, 0});
    walk(reading, window);
}

void AtspiTree::search(const ReadingRef& reading, const WindowRef& window) {
    // One after the other: a program in which the first takes too long is spared the second.
    searchFor(reading, window, {AtspiState::showing, AtspiState::editable}, {}, [=, this] {
        searchFor(reading, window, {AtspiState::showing}, boxRoles + QList{AtspiRole::documentWeb},
                  [=, this] { readHits(reading, window); });
    });
}

void AtspiTree::searchFor(const ReadingRef& reading, const WindowRef& window,
                          const AtspiStates& states, const QList<AtspiRole>& roles,
                          const std::function<void()>& then) {
    const AtspiReference& object = window->element->reference;
    const auto found = [this, reading, window, object, then](const AtspiBus::Replies& replies) {
        if (atspi::isUnknown(replies.front())) {
            window->scouting = false;
            window->budget = nodeBudget;
            walk(reading, window);
            return;
        }
        if (atspi::isTimeout(replies.front())) m_slow.insert(object.service);
        for (const AtspiReference& hit : atspi::referencesOf(replies.front()))
            window->hits.add(hit);
        if (reading->hangs)
            readHits(reading, window);
        else
            then();
    };
    ask(reading, {atspi::getMatches(object, states, roles, mostHits)}, found, searchLimit);
}

void AtspiTree::walk(const ReadingRef& reading, const WindowRef& window) {
    const bool needsExtents = window->element->knowsWindowExtentsOnly;
    const std::size_t each = needsExtents ? 4 : 3;
    const bool mayGoOn = !reading->hangs && !reading->clock.hasExpired(walkLimit);
    auto& open = window->open;
    if (open.empty() || open.front().depth > deepest || window->budget < 1 || !mayGoOn) {
        if (window->scouting && mayGoOn) {
            search(reading, window);
            return;
        }
        window->turn.reset();
        windowRead(reading);
        return;
    }
    // A portion is of one level.
    const int depth = open.front().depth;
    std::vector<AtspiReference> asked;
    std::vector<QDBusMessage> calls;
    for (std::size_t left = portion(each);
         left > 0 && !open.empty() && open.front().depth == depth && window->budget > 0;
         --left, --window->budget) {
        const AtspiReference object = open.front().object;
        open.pop_front();
        asked.push_back(object);
        calls.insert(calls.end(), {atspi::getRole(object), atspi::getState(object),
                                   atspi::getChildCount(object)});
        if (needsExtents) calls.push_back(atspi::getExtents(object, atspi::Coordinates::window));
    }
    ask(reading, calls, [=, this](const AtspiBus::Replies& replies) {
        for (std::size_t i = 0; i < asked.size(); ++i) {
            const QDBusMessage* const reply = &replies[each * i];
            const auto role = atspi::roleOf(reply[0]);
            const auto states = atspi::statesOf(reply[1]);
            if (!role || !states || (depth > 0 && isBarren(*role))) continue;
            const bool holdsText = isTextHolder(*role, *states);
            if (!holdsText && !isSeen(*states, needsExtents ? &reply[3] : nullptr)) continue;
            if (holdsText || mayBeBox(*role, *states)) window->hits.add(asked[i]);
            const int children = atspi::numberPropertyOf(reply[2]).value_or(0);
            if (window->scouting && isVast(children)) {
                window->scouting = false;
                window->budget = nodeBudget;
            }
            if (mayEnter(*role, *states, children))
                window->entrances.push_back({asked[i], children});
        }
        enter(reading, window, depth);
    });
}

void AtspiTree::enter(const ReadingRef& reading, const WindowRef& window, int depth) {
    constexpr int mostTogether = 1000; // children that answers at one time may bring
    const auto coordinates = window->element->knowsWindowExtentsOnly ? atspi::Coordinates::window
                                                                     : atspi::Coordinates::screen;
    std::vector<QDBusMessage> calls;
    auto& entrances = window->entrances;
    for (int children = 0; !entrances.empty() && children < mostTogether; entrances.pop_front()) {
        children += entrances.front().children;
        calls.push_back(atspi::getChildren(entrances.front().object));
    }
    const std::size_t parents = calls.size();
    const std::vector<QDBusMessage> ofHits =
        window->hits.questions(portion(questionsPerHit), coordinates);
    calls.insert(calls.end(), ofHits.begin(), ofHits.end());
    if (calls.empty() || reading->hangs) {
        walk(reading, window);
        return;
    }
    ask(reading, calls, [=, this](const AtspiBus::Replies& replies) {
        for (std::size_t i = 0; i < parents; ++i)
            for (const AtspiReference& child : atspi::referencesOf(replies[i]))
                if (!child.isNull()) window->open.push_back({child, depth + 1});
        window->hits.read(replies.data() + parents, window->element,
                          window->result.root.frame->topLeft());
        enter(reading, window, depth);
    });
}

void AtspiTree::readHits(const ReadingRef& reading, const WindowRef& window) {
    const auto coordinates = window->element->knowsWindowExtentsOnly ? atspi::Coordinates::window
                                                                     : atspi::Coordinates::screen;
    const bool mayGoOn = !reading->hangs && !reading->clock.hasExpired(walkLimit);
    const std::vector<QDBusMessage> calls =
        mayGoOn ? window->hits.questions(portion(questionsPerHit), coordinates)
                : std::vector<QDBusMessage>();
    if (calls.empty()) {
        readAroundHits(reading, window);
        return;
    }
    ask(reading, calls, [this, reading, window](const AtspiBus::Replies& replies) {
        window->hits.read(replies.data(), window->element, window->result.root.frame->topLeft());
        readHits(reading, window);
    });
}

void AtspiTree::readAroundHits(const ReadingRef& reading, const WindowRef& window) {
    const bool mayGoOn = !reading->hangs && !reading->clock.hasExpired(walkLimit);
    const std::vector<QDBusMessage> calls =
        mayGoOn ? window->hits.questionsAround(portion(questionsPerOuter))
                : std::vector<QDBusMessage>();
    if (calls.empty()) {
        window->turn.reset();
        windowRead(reading);
        return;
    }
    ask(reading, calls, [this, reading, window](const AtspiBus::Replies& replies) {
        window->hits.readAround(replies);
        readAroundHits(reading, window);
    });
}

void AtspiTree::windowRead(const ReadingRef& reading) {
    if (--reading->outstanding == 0) reading->end(true);
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
