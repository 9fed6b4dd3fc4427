#include "FocusFinder.h"

#include "AtspiCalls.h"

namespace murlo {

namespace {

// Objects looked at in a descent before it gives up: a few hundred milliseconds of the other
// program's time at most.
constexpr int descentBudget = 1500;

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

void FocusFinder::findFocus(const AtspiReference& window, std::function<bool()> wanted,
                            Found found) {
    const auto descent =
        std::make_shared<Descent>(Descent{std::move(wanted), std::move(found), descentBudget});
    m_bus.send(atspi::getMatches(window, {AtspiState::focused, AtspiState::focusable}, {}, 1),
               [this, descent, window](const QDBusMessage& reply) {
                   if (!descent->wanted()) return;
                   const auto matches = atspi::referencesOf(reply);
                   if (!matches.isEmpty()) descent->found(matches.first());
                   // Who is too busy for one question gets no thousand.
                   else if (atspi::isUnknown(reply))
                       descend(descent, {window});
               });
}

void FocusFinder::descend(const std::shared_ptr<Descent>& descent,
                          const QList<AtspiReference>& level) {
    std::vector<QDBusMessage> calls;
    for (const auto& object : level.first(std::min<qsizetype>(level.size(), descent->budget))) {
        calls.push_back(atspi::getState(object));
        calls.push_back(atspi::getChildren(object));
    }
    if (calls.empty()) return;
    descent->budget -= static_cast<int>(calls.size() / 2);
    m_bus.send(calls, [this, descent, level](const AtspiBus::Replies& replies) {
        if (!descent->wanted()) return;
        QList<AtspiReference> next;
        for (size_t i = 0; i < replies.size() / 2; ++i) {
            const auto states = atspi::statesOf(replies[2 * i]).value_or(AtspiStates());
            // Both: Qt calls the current tab of a tab bar focused, wherever the focus is.
            if (states.has(AtspiState::focused) && states.has(AtspiState::focusable)) {
                descent->found(level[static_cast<qsizetype>(i)]);
                return;
            }
            // GTK 4 never says that something is showing.
            if (states.has(AtspiState::showing) || states.has(AtspiState::visible))
                next += atspi::referencesOf(replies[2 * i + 1]);
        }
        descend(descent, next);
    });
}

} // namespace murlo
