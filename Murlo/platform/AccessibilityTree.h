#pragma once

#include "platform/Accessibility.h"
#include "platform/Port.h"

#include <QRectF>

#include <optional>
#include <vector>

namespace murlo {

/// One element of an application's window as a scan reads it, with what lies inside. What cannot
/// lead to a text box may be left out, and what lies inside a button, a menu or a picture is: no
/// text box is looked for there.
struct AccessibleNode {
    ElementRef element;
    ElementFacts facts;
    std::optional<QRectF> frame; ///< device pixels, origin at the top left, y growing downwards
    std::vector<AccessibleNode> children;
    bool hasHiddenChildren = false; ///< more lies inside than `children`, none of it a text box
};

/// What an application says of its windows.
struct AccessibleApplication {
    /// The element with the keyboard focus; its `children` stay empty.
    std::optional<AccessibleNode> focused;
    struct Window {
        AccessibleNode root;
        QString title;
        bool isMain = false;    ///< the one that the user works in
        bool isPopup = false;   ///< a menu, a list that dropped down: the user closes it soon
        bool minimized = false; ///< or on another desktop: nobody sees it
    };
    std::vector<Window> windows; ///< the focused one first
    /// It says of no window what is inside, but would if it were started with
    /// `--force-renderer-accessibility`.
    bool silent = false;
    bool hung = false; ///< it let a question wait too long; the rest was not asked
};

/// A reading of an application that is under way. Destroying it ends it: nothing more is asked and
/// nobody is called back. Main thread.
class TreeReading : public Port {
public:
    /// Ends it with what has been read so far, which is handed over before this returns. Does
    /// nothing once everything was handed over.
    virtual void handOver() = 0;
};

/// Whole user interfaces of other applications, read in bulk. A reading ends by itself, however
/// much there is. Main thread; no call waits.
class AccessibilityTree : public Port {
public:
    /// Reads up to `mostWindows` windows of an application and calls `done` on a later turn with
    /// what answered: an application has 0.4 s for each answer, what it did not say is left out.
    /// Any number of readings may be under way together; one lasts as long as what is returned.
    [[nodiscard]] virtual std::unique_ptr<TreeReading>
    read(qint64 pid, int mostWindows, std::function<void(const AccessibleApplication&)> done) = 0;
};

} // namespace murlo
