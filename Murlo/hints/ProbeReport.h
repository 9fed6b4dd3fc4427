#pragma once

#include "hints/InputScanner.h"

#include <QString>

namespace murlo {

/// A report for diagnosing why a text box has no letter: what the visible applications report about
/// their windows, and the result of a scan. It contains window titles but no text of boxes. Main
/// thread; nothing blocks.
class ProbeReport {
public:
    /// As for a scanner.
    ProbeReport(AccessibilityTree& tree, Applications& applications, Scheduler& scheduler,
                const AskScreens& screens, qint64 ownPid);

    /// Reads everything and calls back with the report on a later turn. Does nothing while a report
    /// is being made.
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
