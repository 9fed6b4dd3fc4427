#pragma once

#include "hints/InputScanner.h"

#include <QString>

namespace murlo {

/// A report for who looks into why a text box has no letter: what the applications on the screen
/// say of their windows, and what a scan makes of it. It holds titles of windows and no text of
/// boxes. Main thread; nothing waits.
class ProbeReport {
public:
    /// As for a scanner.
    ProbeReport(AccessibilityTree& tree, Applications& applications, Scheduler& scheduler,
                const AskScreens& screens, qint64 ownPid);

    /// Reads everything and hands the report over on a later turn. A call while one is being made
    /// does nothing.
    void make(std::function<void(const QString& report)> done);

private:
    void applicationRead(qint64 pid, const AccessibleApplication& application);
    std::function<void(const QList<InputTarget>&)> scanned();

    AccessibilityTree& m_tree;
    Applications& m_applications;
    InputScanner m_scanner;
    std::function<void(const QString&)> m_done;
    QStringList m_lines;
    int m_outstanding = 0;
    std::vector<std::unique_ptr<TreeReading>> m_readings;
    Lifetime m_lifetime;
};

} // namespace murlo
