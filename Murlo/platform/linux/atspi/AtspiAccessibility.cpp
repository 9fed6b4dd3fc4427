#include "AtspiAccessibility.h"

#include "AtspiCalls.h"
#include "WindowMatch.h"

namespace murlo {

namespace {

const AtspiElement* atspiElement(const ElementRef& element) {
    return dynamic_cast<const AtspiElement*>(element.get());
}

QString titleOfWindow(const AtspiElement& element) {
    return element.window ? element.window->title : QString();
}

} // namespace

AtspiAccessibility::AtspiAccessibility(Scheduler& scheduler, AtspiWindows windows)
    : m_scheduler(scheduler)
    , m_windows(std::move(windows))
    , m_bus(scheduler)
    , m_focus(scheduler, m_bus, m_windows.frontmostPid) {}

std::optional<QString> AtspiAccessibility::string(const ElementRef& element,
                                                  const QString& attribute) const {
    const auto* const known = atspiElement(element);
    if (!known) return std::nullopt;
    if (attribute == QLatin1String("AXRole")) return known->description.role;
    if (attribute == QLatin1String("AXSubrole") && !known->description.subrole.isEmpty())
        return known->description.subrole;
    if (attribute == QLatin1String("AXTitle")) return known->title;
    return std::nullopt;
}

ElementRef AtspiAccessibility::element(const ElementRef& element, const QString& attribute) const {
    const auto* const known = atspiElement(element);
    if (!known) return nullptr;
    if (attribute == QLatin1String("AXParent")) return known->parent;
    if (attribute == QLatin1String("AXWindow")) return known->window;
    return nullptr;
}

bool AtspiAccessibility::isSettable(const ElementRef& element, const QString& attribute) const {
    const auto* const known = atspiElement(element);
    if (!known) return false;
    if (attribute == QLatin1String("AXValue")) return known->description.editable;
    if (attribute == QLatin1String("AXFocused")) return known->states.has(AtspiState::focusable);
    return false;
}

std::optional<QRectF> AtspiAccessibility::frame(const ElementRef& element) const {
    const auto* const known = atspiElement(element);
    if (!known) return std::nullopt;
    if (!known->knowsWindowExtentsOnly)
        return known->screenExtents.isEmpty() ? std::nullopt
                                              : std::optional(QRectF(known->screenExtents));
    if (known->windowExtents.isEmpty() || !m_windows.content) return std::nullopt;
    const auto content = m_windows.content(known->processId, titleOfWindow(*known));
    if (!content) return std::nullopt;
    const QSize window = known->window ? known->window->windowExtents.size() : QSize();
    return QRectF(known->windowExtents).translated(windowOrigin(*content, window));
}

void AtspiAccessibility::askRole(const ElementRef& element, std::function<void(bool)> answered) {
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
    const auto* const target = atspiElement(element);
    if (!target) {
        m_scheduler.nextTurn(std::move(done));
        return;
    }
    // Who remembered the box may have done so before its window was known.
    const auto* const frame = window ? atspiElement(window) : target->window.get();
    if (target->processId > 0)
        m_windows.activate(target->processId, frame ? frame->title : QString());
    std::vector<QDBusMessage> calls;
    // Toolkits raise a window that is asked to take the focus.
    if (frame) calls.push_back(atspi::grabFocus(frame->reference));
    calls.push_back(atspi::grabFocus(target->reference));
    m_bus.send(calls, m_lifetime.guard([this, element, done](const AtspiBus::Replies& replies) {
        constexpr int attempts = 6;
        if (atspi::isUnsupported(replies.back())) // as by GTK 4
            clickInto(element, attempts, done);
        else
            done();
    }));
}

void AtspiAccessibility::clickInto(const ElementRef& element, int attempts,
                                   const std::function<void()>& done) {
    constexpr double untilRaised = 0.05; // seconds
    const auto box = frame(element);
    const auto* const known = atspiElement(element);
    const QString title = known ? titleOfWindow(*known) : QString();
    endClick(); // of an earlier box
    m_clicked = done;
    if (!box || !m_windows.click || attempts < 1 || m_windows.click(element->pid(), title, *box)) {
        endClick();
        return;
    }
    m_click = m_scheduler.after(untilRaised, [this, element, attempts, done] {
        m_clicked = nullptr;
        clickInto(element, attempts - 1, done);
    });
}

void AtspiAccessibility::endClick() {
    m_click.cancel();
    if (const auto done = std::exchange(m_clicked, nullptr)) done();
}

} // namespace murlo
