#pragma once

#include "platform/AccessibilityTree.h"
#include "platform/Applications.h"
#include "platform/Scheduler.h"
#include "platform/Surfaces.h"
#include "targets/InputTarget.h"

#include <memory>
#include <vector>

namespace murlo {

/// Finds every text box that can be seen, in the frontmost applications. Main thread; nothing
/// waits.
class InputScanner {
public:
    /// The most windows that are looked at of one application.
    static constexpr int mostWindows = 6;

    /// While true, Murlo's own windows are looked at as well.
    bool includeOwnWindows = false;

    InputScanner(AccessibilityTree& tree, Applications& applications, Scheduler& scheduler,
                 AskScreens screens, qint64 ownPid);
    ~InputScanner();

    /// Scans and hands over the labelled boxes in reading order; an empty list when there are none.
    /// A further scan ends one that is under way, which then never completes.
    void scan(std::function<void(const QList<InputTarget>&)> completion);
    /// Ends the scan under way, if there is one, without its completion: nobody is asked any more.
    void cancel();

    /// The names of applications that the last scan found to tell nothing of their windows, though
    /// they could be started so that they do.
    [[nodiscard]] const QStringList& silentApplications() const { return m_silent; }

    /// The processes that a scan looks at now: those of the frontmost eight applications with a
    /// window worth it.
    [[nodiscard]] QList<qint64> eligibleApplications() const;

private:
    struct Scan;

    [[nodiscard]] QList<qint64> eligible(const QList<WindowInfo>& shown) const;
    void beginPass(const std::shared_ptr<Scan>& scan);
    /// `again`: once more when a web page turns out to have told nothing yet.
    void readApplication(const std::shared_ptr<Scan>& scan, qint64 pid, const QString& name,
                         bool again);
    /// Ends a pass whose time is up with what was found.
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

/// What one application's windows hold: its boxes, and whether a web page among them has not told
/// its content yet.
struct BoxesFound {
    QList<InputTarget> targets;
    bool unready = false;
};

/// Walks an application's windows for its text boxes. `shown` are the windows on the screen, front
/// to back: a box is left out when what others leave of it is too small, and its frame is that of
/// what can be seen.
[[nodiscard]] BoxesFound boxesOf(const AccessibleApplication& application, qint64 pid,
                                 const QString& name, const QList<ScreenInfo>& screens,
                                 const QList<WindowInfo>& shown);
/// Drops boxes of the same process at (nearly) the same place; the first of them stays.
[[nodiscard]] QList<InputTarget> withoutDuplicates(const QList<InputTarget>& targets,
                                                   const QList<ScreenInfo>& screens);
/// Puts the boxes into reading order and labels them; what no label is left for is dropped.
[[nodiscard]] QList<InputTarget> assignHints(QList<InputTarget> targets,
                                             const QList<ScreenInfo>& screens);

} // namespace murlo
