#include "AtspiAccessibility.h"

#include "WindowMatch.h"

#include <array>

namespace murlo {

namespace {

const AtspiElement* atspiElement(const ElementRef& element) {
    return dynamic_cast<const AtspiElement*>(element.get());
}

constexpr std::array placeQuestions{AtspiQuestion::extents};

QString titleOfWindow(const AtspiElement& element) {
    return element.topmost ? element.topmost->description.title : QString();
}

} // namespace

AtspiAccessibility::AtspiAccessibility(Scheduler& scheduler, AtspiWindows windows)
    : m_scheduler(scheduler)
    , m_windows(std::move(windows))
    , m_bus(scheduler)
    , m_focus(scheduler, m_bus, m_windows.frontmostPid) {}

void AtspiAccessibility::askIfAlive(const ElementRef& element, std::function<void(bool)> answered) {
    const auto* const known = atspiElement(element);
    if (!known) {
        m_scheduler.nextTurn([answered = std::move(answered)] { answered(false); });
        return;
    }
    m_bus.send(atspi::getRole(known->reference),
               [answered = std::move(answered)](const QDBusMessage& reply) {
                   const auto role = atspi::roleOf(reply);
                   answered(role && *role != AtspiRole::invalid);
               });
}

void AtspiAccessibility::focus(const ElementRef& window, const ElementRef& element,
                               std::function<void()> done) {
    const auto target = std::dynamic_pointer_cast<const AtspiElement>(element);
    if (!target) {
        m_scheduler.nextTurn(std::move(done));
        return;
    }
    // The box may have been remembered before its window was known.
    const auto* const frame = window ? atspiElement(window) : target->topmost.get();
    if (target->program.pid > 0)
        m_windows.activate(target->program.pid, frame ? frame->description.title : QString());
    std::vector<QDBusMessage> calls{atspi::grabFocus(target->reference)};
    // Toolkits raise a window when GrabFocus is called on it.
    if (frame) calls.insert(calls.begin(), atspi::grabFocus(frame->reference));
    const std::size_t grabs = calls.size();
    // The position of the box, in case it has to be clicked.
    addCalls(calls, target->reference, placeQuestions, target->program.coordinates());
    const bool asksWindow = target->program.knowsWindowExtentsOnly && target->topmost;
    if (asksWindow)
        addCalls(calls, target->topmost->reference, placeQuestions, atspi::Coordinates::window);
    m_bus.send(calls, m_lifetime.guard([=, this](const AtspiBus::Replies& replies) {
        constexpr int attempts = 6;
        if (!atspi::isUnsupported(replies[grabs - 1])) {
            done();
            return;
        }
        // GTK 4 does not support GrabFocus.
        const auto extentsOf = [](const QDBusMessage& reply) {
            return answersOf(&reply, placeQuestions).extents.value_or(QRect());
        };
        clickInto({target, extentsOf(replies[grabs]),
                   asksWindow ? extentsOf(replies.back()).size() : QSize()},
                  attempts, done);
    }));
}

std::optional<QRectF> AtspiAccessibility::onScreen(const Place& place) const {
    const AtspiElement& element = *place.element;
    if (place.extents.isEmpty()) return std::nullopt;
    if (!element.program.knowsWindowExtentsOnly)
        return element.program.onScreen(place.extents, QPointF());
    if (!m_windows.content) return std::nullopt;
    const auto content = m_windows.content(element.pid(), titleOfWindow(element));
    if (!content) return std::nullopt;
    return element.program.onScreen(place.extents, windowOrigin(*content, place.window));
}

void AtspiAccessibility::clickInto(const Place& place, int attempts,
                                   const std::function<void()>& done) {
    constexpr double untilRaised = 0.05; // seconds
    const auto box = onScreen(place);
    endClick(); // the attempts at an earlier box
    m_clicked = done;
    if (!box || !m_windows.click || attempts < 1 ||
        m_windows.click(place.element->pid(), titleOfWindow(*place.element), *box)) {
        endClick();
        return;
    }
    m_click = m_scheduler.after(untilRaised, [this, place, attempts, done] {
        m_clicked = nullptr;
        clickInto(place, attempts - 1, done);
    });
}

void AtspiAccessibility::endClick() {
    m_click.cancel();
    if (const auto done = std::exchange(m_clicked, nullptr)) done();
}

} // namespace murlo
