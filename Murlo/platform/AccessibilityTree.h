#pragma once

#include "platform/Accessibility.h"
#include "platform/Port.h"

#include <QRectF>

#include <optional>
#include <vector>

namespace murlo {

/// One element of an application's window as a scan reads it, with its children. Subtrees without
/// text boxes may be left out; the insides of buttons, menus and pictures always are, because no
/// text box is searched for there.
struct AccessibleNode {
    ElementRef element;
    ElementFacts facts;
    std::optional<QRectF> frame; ///< device pixels, origin at the top left, y growing downwards
    std::vector<AccessibleNode> children;
    bool hasHiddenChildren = false; ///< it has more children than `children`, none with a text box
};

/// The windows of an application as it reports them.
struct AccessibleApplication {
    /// The element with the keyboard focus; its `children` stay empty.
    std::optional<AccessibleNode> focused;
    struct Window {
        AccessibleNode root;
        QString title;
        bool isMain = false;    ///< the one that the user works in
        bool isPopup = false;   ///< a transient menu or drop-down list
        bool minimized = false; ///< or on another desktop: not visible
    };
    std::vector<Window> windows; ///< the focused one first
    /// It reports no content for any window, but would if it were started with
    /// `--force-renderer-accessibility`.
    bool silent = false;
    bool hung = false; ///< a call to it timed out; the rest was not requested
};

/// A reading of an application that is under way. Destroying it cancels it: no further calls are
/// sent and `done` is not called. Main thread.
class TreeReading : public Port {
public:
    /// Ends it with what has been read so far, and calls `done` before this returns. Does nothing
    /// if `done` was called already.
    virtual void handOver() = 0;
};

/// Reads whole user interfaces of other applications in bulk. The duration of a reading is bounded.
/// Main thread; no call blocks.
class AccessibilityTree : public Port {
public:
    /// Reads up to `mostWindows` windows of an application and calls `done` on a later turn with
    /// the answers: the timeout for each is 0.4 s, missing ones are left out. Any number of
    /// readings may run at the same time; each lasts as long as the returned handle.
    [[nodiscard]] virtual std::unique_ptr<TreeReading>
    read(qint64 pid, int mostWindows, std::function<void(const AccessibleApplication&)> done) = 0;
};

} // namespace murlo
