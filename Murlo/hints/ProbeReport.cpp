#include "hints/ProbeReport.h"

namespace murlo {

namespace {

QString placeOf(const std::optional<QRectF>& frame) {
    if (!frame) return QStringLiteral("noframe");
    return QStringLiteral("(%1, %2) %3 x %4")
        .arg(frame->x())
        .arg(frame->y())
        .arg(frame->width())
        .arg(frame->height());
}

QString wordsFor(const AccessibleNode& node) {
    const ElementFacts& facts = node.facts;
    QString words = nameOf(facts.role) + QLatin1Char(' ') + placeOf(node.frame);
    if (facts.subrole != ElementSubrole::none) words += QLatin1Char(' ') + nameOf(facts.subrole);
    if (!facts.enabled) words += QStringLiteral(" disabled");
    if (!facts.focusable && !facts.editable) words += QStringLiteral(" not editable");
    return words;
}

void addNodes(QStringList& lines, const std::vector<AccessibleNode>& nodes, int depth) {
    for (const AccessibleNode& node : nodes) {
        lines.append(QString(qsizetype{depth} * 2, QLatin1Char(' ')) + wordsFor(node));
        addNodes(lines, node.children, depth + 1);
    }
}

int webAreasIn(const std::vector<AccessibleNode>& nodes) {
    int count = 0;
    for (const AccessibleNode& node : nodes)
        count += (node.facts.role == ElementRole::webArea ? 1 : 0) + webAreasIn(node.children);
    return count;
}

} // namespace

ProbeReport::ProbeReport(AccessibilityTree& tree, Applications& applications, Scheduler& scheduler,
                         const AskScreens& screens, qint64 ownPid)
    : m_tree(tree)
    , m_applications(applications)
    , m_scanner(tree, applications, scheduler, screens, ownPid) {}

void ProbeReport::make(std::function<void(const QString& report)> done) {
    if (m_done) return;
    m_done = std::move(done);
    m_lines.clear();
    const QList<qint64> chosen = m_scanner.eligibleApplications();
    m_outstanding = static_cast<int>(chosen.size()) + 1;
    m_readings.clear();
    for (const qint64 pid : chosen) {
        const auto read = [this, pid](const AccessibleApplication& application) {
            applicationRead(pid, application);
            if (--m_outstanding == 0) m_scanner.scan(scanned());
        };
        m_readings.push_back(m_tree.read(pid, InputScanner::mostWindows, m_lifetime.guard(read)));
    }
    if (--m_outstanding == 0) m_scanner.scan(scanned());
}

void ProbeReport::applicationRead(qint64 pid, const AccessibleApplication& application) {
    m_lines.append(QStringLiteral("%1 (process %2)")
                       .arg(m_applications.name(pid).value_or(QStringLiteral("app")))
                       .arg(pid));
    // On this desktop accessibility is on or off for all programs together.
    m_lines.append(
        QStringLiteral("  AXManualAccessibility and AXEnhancedUserInterface: none here"));
    m_lines.append(QStringLiteral("  focused: ") + (application.focused
                                                        ? wordsFor(*application.focused)
                                                        : QStringLiteral("nothing that it told")));
    if (application.hung) m_lines.append(QStringLiteral("  it does not answer: err=timeout"));
    int webAreas = 0;
    for (const auto& window : application.windows) {
        m_lines.append(QStringLiteral("  window \"%1\" %2%3%4 children=%5")
                           .arg(window.title, placeOf(window.root.frame),
                                window.isMain ? QStringLiteral(" main") : QString(),
                                window.minimized ? QStringLiteral(" minimized") : QString())
                           .arg(window.root.children.size()));
        addNodes(m_lines, window.root.children, 2);
        webAreas += webAreasIn(window.root.children);
    }
    m_lines.append(webAreas == 0 ? QStringLiteral("  : no web area")
                                 : QStringLiteral("  webArea predicate: hits=%1").arg(webAreas));
}

std::function<void(const QList<InputTarget>&)> ProbeReport::scanned() {
    return m_lifetime.guard([this](const QList<InputTarget>& targets) {
        for (const InputTarget& target : targets)
            m_lines.append(
                QStringLiteral("%1 %2 %3").arg(target.hint, target.appName, placeOf(target.frame)));
        m_lines.append(QStringLiteral(" real-scan: found=%1").arg(targets.size()));
        const auto done = std::exchange(m_done, nullptr);
        done(m_lines.join(QLatin1Char('\n')) + QLatin1Char('\n'));
    });
}

} // namespace murlo
