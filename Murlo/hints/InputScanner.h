#pragma once

#include "platform/AccessibilityTree.h"
#include "platform/Applications.h"
#include "platform/Scheduler.h"
#include "platform/Surfaces.h"
#include "targets/InputTarget.h"

#include <memory>
#include <vector>

namespace murlo {

/// Finds every visible text box in the frontmost applications. Main thread; nothing blocks.
class InputScanner {
public:
    /// Maximum number of windows that are scanned per application.
    static constexpr int mostWindows = 6;

    /// While true, Murlo's own windows are scanned as well.
    bool includeOwnWindows = false;

    InputScanner(AccessibilityTree& tree, Applications& applications, Scheduler& scheduler,
                 AskScreens screens, qint64 ownPid);
    ~InputScanner();

    /// Scans and hands over the labelled boxes in reading order; an empty list when there are none.
    /// A new scan cancels one that is under way, whose completion is then never called.
    void scan(std::function<void(const QList<InputTarget>&)> completion);
    /// Ends the scan under way, if there is one, without calling its completion.
    void cancel();

    /// Names of the applications that reported no content in the last scan, but would if they were
    /// started with accessibility forced on.
    [[nodiscard]] const QStringList& silentApplications() const { return m_silent; }

    /// The processes that a scan would read now: those of the frontmost eight applications with a
    /// large enough window.
    [[nodiscard]] QList<qint64> eligibleApplications() const;

private:
    struct Scan;

    [[nodiscard]] QList<qint64> eligible(const QList<WindowInfo>& shown) const;
    void beginPass(const std::shared_ptr<Scan>& scan);
    /// `again`: read it once more if a web page has no content yet.
    void readApplication(const std::shared_ptr<Scan>& scan, qint64 pid, const QString& name,
                         bool again);
    /// Ends a pass that has timed out, with what was found.
    void timeUp(const std::shared_ptr<Scan>& scan);
    void endPass(const std::shared_ptr<Scan>& scan);
    void deliver(const std::shared_ptr<Scan>& scan);

    AccessibilityTree& m_tree;
    Applications& m_applications;
    Scheduler& m_scheduler;
    AskScreens m_screens;
    qint64 m_ownPid;
    std::shared_ptr<Scan> m_current;
    QStringList m_silent;
    Lifetime m_lifetime;
};

/// The result for one application: its boxes, and whether a web page among them has not loaded its
/// content yet.
struct BoxesFound {
    QList<InputTarget> targets;
    bool unready = false;
};

/// Walks an application's windows for its text boxes. `shown` are the windows on the screen, front
/// to back: a box is left out when its visible part is too small, and its frame is that of the
/// visible part.
[[nodiscard]] BoxesFound boxesOf(const AccessibleApplication& application, qint64 pid,
                                 const QString& name, const QList<ScreenInfo>& screens,
                                 const QList<WindowInfo>& shown);
/// Drops boxes of the same process at (nearly) the same place; the first of them stays.
[[nodiscard]] QList<InputTarget> withoutDuplicates(const QList<InputTarget>& targets,
                                                   const QList<ScreenInfo>& screens);
/// Puts the boxes into reading order and labels them; boxes beyond the last label are dropped.
[[nodiscard]] QList<InputTarget> assignHints(QList<InputTarget> targets,
                                             const QList<ScreenInfo>& screens);

} // namespace murlo
