#include "FocusFinder.h"

#include "AtspiAnswers.h"
#include "Budgets.h"
#include "Restraint.h"

#include <array>

namespace murlo {

namespace {

constexpr std::array asked{AtspiQuestion::states, AtspiQuestion::role, AtspiQuestion::childCount};

} // namespace

void FocusFinder::findActiveWindows(Found found) {
    m_bus.send(atspi::getChildren({atspi::registryService, atspi::rootPath}),
               [this, found = std::move(found)](const QDBusMessage& reply) {
                   for (const auto& application : atspi::referencesOf(reply))
                       findActiveWindow(application, found);
               });
}

void FocusFinder::findActiveWindow(const AtspiReference& application, const Found& found) {
    m_bus.send(atspi::getChildren(application), [this, found](const QDBusMessage& reply) {
        for (const auto& window : atspi::referencesOf(reply))
            m_bus.send(atspi::getState(window), [window, found](const QDBusMessage& answer) {
                const auto states = atspi::statesOf(answer);
                if (states && states->has(AtspiState::active)) found(window);
            });
    });
}

void FocusFinder::findFocus(const AtspiReference& window, Wanted what, std::function<bool()> wanted,
                            Found found) {
    const auto descent =
        std::make_shared<Descent>(Descent{what,
                                          std::move(wanted),
                                          std::move(found),
                                          {},
                                          budget::focusObjects,
                                          m_scheduler.uptime() + budget::focusSeconds});
    descend(descent, {window}, 0);
}

void FocusFinder::descend(const std::shared_ptr<Descent>& descent,
                          const QList<AtspiReference>& level, int depth) {
    std::vector<QDBusMessage> calls;
    for (const auto& object : level.first(std::min<qsizetype>(level.size(), descent->budget)))
        addCalls(calls, object, asked);
    if (calls.empty() || depth > budget::focusLevels || m_scheduler.uptime() > descent->deadline) {
        finish(descent);
        return;
    }
    descent->budget -= static_cast<int>(calls.size() / asked.size());
    m_bus.send(calls, [this, descent, level, depth](const AtspiBus::Replies& replies) {
        if (!descent->wanted()) return;
        QList<AtspiReference> inner;
        for (size_t i = 0; i < replies.size() / asked.size(); ++i) {
            const AtspiAnswers answers = answersOf(&replies[i * asked.size()], asked);
            const AtspiStates states = answers.states.value_or(AtspiStates());
            const AtspiRole role = answers.role.value_or(AtspiRole::invalid);
            // GTK 4 never reports the state "showing".
            if (!states.has(AtspiState::showing) && !states.has(AtspiState::visible)) continue;
            const AtspiReference& object = level[static_cast<qsizetype>(i)];
            // Both states: Qt reports the current tab of a tab bar as focused, wherever the focus
            // is.
            if (states.has(AtspiState::focused) && states.has(AtspiState::focusable)) {
                const bool takesText = states.has(AtspiState::editable);
                if (takesText || descent->what == Wanted::anything) descent->innermost = object;
                if (takesText) {
                    finish(descent);
                    return;
                }
            }
            if (mayEnter(role, states, answers.childCount)) inner.append(object);
        }
        enter(descent, inner, depth);
    });
}

void FocusFinder::enter(const std::shared_ptr<Descent>& descent,
                        const QList<AtspiReference>& objects, int depth) {
    std::vector<QDBusMessage> calls;
    calls.reserve(static_cast<size_t>(objects.size()));
    for (const auto& object : objects) calls.push_back(atspi::getChildren(object));
    if (calls.empty()) {
        finish(descent);
        return;
    }
    m_bus.send(calls, [this, descent, depth](const AtspiBus::Replies& replies) {
        if (!descent->wanted()) return;
        QList<AtspiReference> next;
        for (const QDBusMessage& reply : replies) {
            for (const AtspiReference& child : atspi::referencesOf(reply)) {
                if (!child.isNull()) next.append(child);
            }
        }
        descend(descent, next, depth + 1);
    });
}

void FocusFinder::finish(const std::shared_ptr<Descent>& descent) {
    if (!descent->innermost.isNull()) descent->found(descent->innermost);
}

} // namespace murlo
