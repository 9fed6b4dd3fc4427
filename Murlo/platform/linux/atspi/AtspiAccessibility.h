#pragma once

#include "AtspiBus.h"
#include "FocusTracker.h"
#include "platform/Accessibility.h"

#include <QRectF>

namespace murlo {

/// What the accessibility bus does not know about windows, provided by the window system. None of
/// these functions may block on another program.
struct AtspiWindows {
    /// Process that owns the active window.
    std::function<std::optional<qint64>()> frontmostPid;
    /// Brings a process's window to the front, the one with this `title` if there is one.
    std::function<void(qint64 pid, const QString& title)> activate;
    /// The client area of a process's window with this `title`, else of its frontmost one, in
    /// device pixels from the top left corner of the screen; only used for toolkits that do not
    /// know it. The function may be empty.
    std::function<std::optional<QRectF>(qint64 pid, const QString& title)> content;
    /// Clicks into a text box of a process's window with this `title` (or of any, if none has it);
    /// false while another window is in front of it. The function may be empty.
    std::function<bool(qint64 pid, const QString& title, const QRectF& box)> click;
};

/// Accessibility over AT-SPI. The keyboard focus is tracked by events and read in advance, so that
/// no call blocks on a program. Main thread.
class AtspiAccessibility : public Accessibility {
public:
    AtspiAccessibility(Scheduler& scheduler, AtspiWindows windows);

    [[nodiscard]] bool isTrusted() const override { return m_bus.isEnabled() && m_bus.isOpen(); }
    void requestTrust() override { m_bus.enable(); }
    [[nodiscard]] ElementRef focusedElement() const override { return m_focus.focused(); }
    void recheckFocus(std::function<void()> corrected) override {
        m_focus.recheck(std::move(corrected));
    }
    void askIfAlive(const ElementRef& element, std::function<void(bool)> answered) override;
    void focus(const ElementRef& window, const ElementRef& element,
               std::function<void()> done) override;

    /// The bus that everything is read over.
    [[nodiscard]] AtspiBus& bus() { return m_bus; }

private:
    /// What an object reported about its position.
    struct Place {
        std::shared_ptr<const AtspiElement> element;
        QRect extents;
        QSize window; ///< of its window, where extents are relative to that
    };

    [[nodiscard]] std::optional<QRectF> onScreen(const Place& place) const;
    void clickInto(const Place& place, int attempts, const std::function<void()>& done);
    void endClick();

    Scheduler& m_scheduler;
    AtspiWindows m_windows;
    AtspiBus m_bus;
    mutable FocusTracker m_focus;
    ScheduledWork m_click;           ///< retried until the window has come to the front
    std::function<void()> m_clicked; ///< callback for its end
    Lifetime m_lifetime;
};

} // namespace murlo
