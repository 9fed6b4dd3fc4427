#include "hints/InputScanner.h"

#include "support/Log.h"

#include <QMap>

namespace murlo {

namespace {

constexpr int mostApplications = 8;
constexpr double leastArea =
    20000; ///< in square points, of a window that makes its application worth looking at
constexpr double passLimit = 2.8;     ///< seconds of one pass
constexpr double pauseBetween = 0.45; ///< seconds before a second look

QString summaryOf(const QList<InputTarget>& targets) {
    QMap<QString, int> counts;
    for (const InputTarget& target : targets) ++counts[target.appName];
    QStringList parts;
    for (auto it = counts.constBegin(); it != counts.constEnd(); ++it)
        parts.append(QStringLiteral("%1:%2").arg(it.key()).arg(it.value()));
    parts.sort();
    return parts.join(QLatin1Char(' '));
}

} // namespace

/// One scan, of one or two passes.
struct InputScanner::Scan {
    std::function<void(const QList<InputTarget>&)> completion;
    double began = 0; ///< uptime
    double deadline = 0;
    int pass = 0;
    int outstanding = 0; ///< applications that have not answered in this pass
    QList<WindowInfo> shown;
    QList<InputTarget> found;
    std::vector<ScheduledWork> timers;
    std::vector<std::unique_ptr<TreeReading>> readings; ///< of this pass
    ScheduledWork limit;
};

InputScanner::InputScanner(AccessibilityTree& tree, Applications& applications,
                           Scheduler& scheduler, AskScreens screens, qint64 ownPid)
    : m_tree(tree)
    , m_applications(applications)
    , m_scheduler(scheduler)
    , m_screens(std::move(screens))
    , m_ownPid(ownPid) {}

InputScanner::~InputScanner() {
    cancel();
}

void InputScanner::cancel() {
    const auto scan = std::exchange(m_current, nullptr);
    if (!scan) return;
    scan->limit.cancel(); // the timers hold the scan
    scan->timers.clear();
    scan->readings.clear();
}

void InputScanner::scan(std::function<void(const QList<InputTarget>&)> completion) {
    cancel();
    m_current = std::make_shared<Scan>();
    m_current->completion = std::move(completion);
    m_silent.clear();
    m_current->began = m_scheduler.uptime();
    beginPass(m_current);
}

QList<qint64> InputScanner::eligibleApplications() const {
    return eligible(m_applications.windowsOnScreen());
}

QList<qint64> InputScanner::eligible(const QList<WindowInfo>& shown) const {
    const QList<ScreenInfo> screens = m_screens();
    const auto areaOf = [&](const QRectF& bounds) {
        const double scale = scaleAt(screens, bounds);
        return bounds.width() * bounds.height() / (scale * scale);
    };
    QList<qint64> chosen;
    for (const WindowInfo& window : shown) {
        if (chosen.size() == mostApplications) break;
        if (!window.isDocument || (window.pid == m_ownPid && !includeOwnWindows) ||
            areaOf(window.bounds) <= leastArea || chosen.contains(window.pid))
            continue;
        chosen.append(window.pid);
    }
    return chosen;
}

void InputScanner::beginPass(const std::shared_ptr<Scan>& scan) {
    const int pass = ++scan->pass;
    scan->deadline = m_scheduler.uptime() + passLimit;
    scan->outstanding = 1; // this call, so that the pass lasts until all are asked
    scan->limit = m_scheduler.after(passLimit, [this, scan] { timeUp(scan); });
    scan->shown = m_applications.windowsOnScreen();
    for (const qint64 pid : eligible(scan->shown)) {
        ++scan->outstanding;
        readApplication(scan, pid, m_applications.name(pid).value_or(QStringLiteral("app")), true);
    }
    if (--scan->outstanding == 0)
        m_scheduler.nextTurn(m_lifetime.guard([this, scan, pass] {
            if (scan->pass == pass) endPass(scan);
        }));
}

void InputScanner::readApplication(const std::shared_ptr<Scan>& scan, qint64 pid,
                                   const QString& name, bool again) {
    const auto answered = [this, scan, pass = scan->pass, pid, name,
                           again](const AccessibleApplication& application) {
        if (scan != m_current || scan->pass != pass || scan->outstanding == 0) return;
        const BoxesFound boxes = boxesOf(application, pid, name, m_screens(), scan->shown);
        scan->found.append(boxes.targets);
        if (application.silent && !m_silent.contains(name)) m_silent.append(name);
        const bool timeLeft = m_scheduler.uptime() + pauseBetween < scan->deadline;
        if (boxes.unready && timeLeft && again) {
            // The program creates its pages' content only after the first request.
            scan->timers.push_back(m_scheduler.after(pauseBetween, [this, scan, pid, name] {
                readApplication(scan, pid, name, false);
            }));
            return;
        }
        if (--scan->outstanding == 0) endPass(scan);
    };
    scan->readings.push_back(m_tree.read(pid, mostWindows, m_lifetime.guard(answered)));
}

void InputScanner::timeUp(const std::shared_ptr<Scan>& scan) {
    const int pass = scan->pass;
    for (const auto& reading : std::exchange(scan->readings, {})) reading->handOver();
    // The last reply may have ended the pass, unless applications wait for a second reading.
    if (scan->pass == pass && scan->outstanding > 0) endPass(scan);
}

void InputScanner::endPass(const std::shared_ptr<Scan>& scan) {
    if (scan != m_current) return;
    scan->limit.cancel();
    scan->timers.clear();
    scan->readings.clear();
    scan->outstanding = 0;
    if (scan->found.isEmpty() && scan->pass == 1) {
        scan->timers.push_back(m_scheduler.after(pauseBetween, [this, scan] { beginPass(scan); }));
        return;
    }
    deliver(scan);
}

void InputScanner::deliver(const std::shared_ptr<Scan>& scan) {
    const QList<ScreenInfo> screens = m_screens();
    const QList<InputTarget> targets =
        assignHints(withoutDuplicates(scan->found, screens), screens);
    Log::write(QStringLiteral("scan: %1 boxes in %2 ms: %3")
                   .arg(targets.size())
                   .arg(std::llround((m_scheduler.uptime() - scan->began) * 1000))
                   .arg(summaryOf(targets)));
    for (const QString& name : std::as_const(m_silent))
        Log::write(QStringLiteral("scan: %1 keeps its text boxes to itself; it tells them when "
                                  "started with --force-renderer-accessibility")
                       .arg(name));
    cancel();
    scan->completion(targets);
}

} // namespace murlo
