#include "AtspiReading.h"

#include "Budgets.h"

#include <algorithm>

namespace murlo {

bool AtspiReading::mayGoOn() const {
    return !hangs && !clock.hasExpired(budget::walkMilliseconds);
}

QPointF AtspiReading::originOf(const std::shared_ptr<const AtspiElement>& window) const {
    if (windows.empty()) return {};
    const auto own = std::ranges::find_if(windows, [&](const AtspiWindowRef& each) {
        return window && each->element->reference == window->reference;
    });
    return (own != windows.end() ? *own : windows.front())->origin();
}

void AtspiReading::partRead() {
    if (--outstanding == 0) end(true);
}

void AtspiReading::end(bool complete) {
    if (isOver()) return;
    AccessibleApplication application;
    for (const AtspiWindowRef& window : windows) {
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

} // namespace murlo
