#include "WindowReader.h"

#include "AtspiRoles.h"
#include "Budgets.h"
#include "Restraint.h"

#include <algorithm>
#include <array>

namespace murlo {

namespace {

constexpr std::array walkQuestions{AtspiQuestion::role, AtspiQuestion::states,
                                   AtspiQuestion::childCount, AtspiQuestion::extents};

/// What a walk asks of each object; extents only where a toolkit does not know screen positions, to
/// tell what is visible.
AtspiQuestions questionsOfWalk(const AtspiProgram& program) {
    const AtspiQuestions all(walkQuestions);
    return program.knowsWindowExtentsOnly ? all : all.first(all.size() - 1);
}

/// Whether an object is visible. A toolkit that does not know screen positions does not report
/// "showing" either; there, "visible" must do, and objects on a hidden page have no size.
bool isSeen(const AtspiAnswers& object, const AtspiProgram& program) {
    if (!program.knowsWindowExtentsOnly) return object.states->has(AtspiState::showing);
    return object.states->has(AtspiState::visible) && object.states->has(AtspiState::sensitive) &&
           !object.extents.value_or(QRect()).isEmpty();
}

} // namespace

WindowReader::WindowReader(AtspiBus& bus)
    : m_bus(bus) {}

void WindowReader::read(const AtspiReadingRef& reading, const AtspiWindowRef& window) {
    const QString& service = window->element->reference.service;
    window->turn = m_turns;
    window->scouting = reading->searchable && !m_slow.contains(service);
    window->budget = window->scouting ? budget::scoutObjects : budget::windowObjects;
    window->open.push_back({window->element->reference, 0});
    walk(reading, window);
}

void WindowReader::finish(AtspiReading& reading, AtspiWindow& window) {
    window.turn.reset();
    reading.partRead();
}

void WindowReader::walkOnly(AtspiWindow& window) {
    window.scouting = false;
    window.budget = budget::windowObjects;
}

std::size_t WindowReader::portion(std::size_t questions) const {
    constexpr std::size_t fewest = 4;
    const auto windows = static_cast<std::size_t>(m_turns.use_count() - 1);
    return std::max(fewest,
                    budget::questionsTogether / std::max<std::size_t>(windows, 1) / questions);
}

void WindowReader::ask(const AtspiReadingRef& reading, const std::vector<QDBusMessage>& calls,
                       std::function<void(const AtspiBus::Replies&)> then, int limit) {
    m_bus.send(calls, m_lifetime.guard([reading, then = std::move(then)](const auto& replies) {
        if (reading->isOver()) return;
        // A hung program is not asked again: it has used up its time.
        if (std::ranges::any_of(replies, atspi::isTimeout)) reading->hangs = true;
        then(replies);
    }),
               limit);
}

void WindowReader::search(const AtspiReadingRef& reading, const AtspiWindowRef& window) {
    // One after the other: if the first search times out, the second is not sent.
    searchFor(reading, window, {AtspiState::showing, AtspiState::editable}, {}, [=, this] {
        searchFor(reading, window, {AtspiState::showing},
                  boxRoles() + QList{AtspiRole::documentWeb},
                  [=, this] { readHits(reading, window); });
    });
}

void WindowReader::searchFor(const AtspiReadingRef& reading, const AtspiWindowRef& window,
                             const AtspiStates& states, const QList<AtspiRole>& roles,
                             const std::function<void()>& then) {
    const AtspiReference& object = window->element->reference;
    const auto found = [this, reading, window, object, then](const AtspiBus::Replies& replies) {
        if (atspi::isUnknown(replies.front())) {
            walkOnly(*window);
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
    ask(reading, {atspi::getMatches(object, states, roles, budget::searchHits)}, found,
        budget::searchMilliseconds);
}

void WindowReader::walk(const AtspiReadingRef& reading, const AtspiWindowRef& window) {
    const AtspiProgram& program = window->element->program;
    const AtspiQuestions questions = questionsOfWalk(program);
    const bool mayGoOn = reading->mayGoOn();
    auto& open = window->open;
    if (open.empty() || open.front().depth > budget::windowLevels || window->budget < 1 ||
        !mayGoOn) {
        if (window->scouting && mayGoOn) {
            search(reading, window);
            return;
        }
        finish(*reading, *window);
        return;
    }
    // All objects of a portion are on the same level.
    const int depth = open.front().depth;
    std::vector<AtspiReference> asked;
    std::vector<QDBusMessage> calls;
    for (std::size_t left = portion(questions.size());
         left > 0 && !open.empty() && open.front().depth == depth && window->budget > 0;
         --left, --window->budget) {
        const AtspiReference object = open.front().object;
        open.pop_front();
        asked.push_back(object);
        addCalls(calls, object, questions, program.coordinates());
    }
    ask(reading, calls, [=, this](const AtspiBus::Replies& replies) {
        for (std::size_t i = 0; i < asked.size(); ++i) {
            const AtspiAnswers object = answersOf(&replies[questions.size() * i], questions);
            if (!object.role || !object.states || (depth > 0 && isBarren(*object.role))) continue;
            const bool holdsText = isTextHolder(*object.role, *object.states);
            if (!holdsText && !isSeen(object, program)) continue;
            if (holdsText || mayBeBox(*object.role, *object.states)) window->hits.add(asked[i]);
            if (window->scouting && isVast(object.childCount)) walkOnly(*window);
            if (mayEnter(*object.role, *object.states, object.childCount))
                window->entrances.push_back({asked[i], object.childCount});
        }
        enter(reading, window, depth);
    });
}

void WindowReader::enter(const AtspiReadingRef& reading, const AtspiWindowRef& window, int depth) {
    std::vector<QDBusMessage> calls;
    auto& entrances = window->entrances;
    for (int children = 0; !entrances.empty() && children < budget::childrenTogether;
         entrances.pop_front()) {
        children += entrances.front().children;
        calls.push_back(atspi::getChildren(entrances.front().object));
    }
    const std::size_t parents = calls.size();
    const std::vector<QDBusMessage> ofHits = window->hits.questions(
        portion(HitList::questionsEach()), window->element->program.coordinates());
    calls.insert(calls.end(), ofHits.begin(), ofHits.end());
    if (calls.empty() || reading->hangs) {
        walk(reading, window);
        return;
    }
    ask(reading, calls, [=, this](const AtspiBus::Replies& replies) {
        for (std::size_t i = 0; i < parents; ++i)
            for (const AtspiReference& child : atspi::referencesOf(replies[i]))
                if (!child.isNull()) window->open.push_back({child, depth + 1});
        window->hits.read(replies.data() + parents, window->element, window->origin());
        enter(reading, window, depth);
    });
}

void WindowReader::readHits(const AtspiReadingRef& reading, const AtspiWindowRef& window) {
    const std::vector<QDBusMessage> calls =
        reading->mayGoOn() ? window->hits.questions(portion(HitList::questionsEach()),
                                                    window->element->program.coordinates())
                           : std::vector<QDBusMessage>();
    if (calls.empty()) {
        readAroundHits(reading, window);
        return;
    }
    ask(reading, calls, [this, reading, window](const AtspiBus::Replies& replies) {
        window->hits.read(replies.data(), window->element, window->origin());
        readHits(reading, window);
    });
}

void WindowReader::readAroundHits(const AtspiReadingRef& reading, const AtspiWindowRef& window) {
    const std::vector<QDBusMessage> calls =
        reading->mayGoOn() ? window->hits.questionsAround(portion(HitList::questionsEachAround()))
                           : std::vector<QDBusMessage>();
    if (calls.empty()) {
        finish(*reading, *window);
        return;
    }
    ask(reading, calls, [this, reading, window](const AtspiBus::Replies& replies) {
        window->hits.readAround(replies);
        readAroundHits(reading, window);
    });
}

} // namespace murlo
