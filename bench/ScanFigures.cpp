#include "Figures.h"
#include "Forms.h"
#include "Screen.h"
#include "Walks.h"
#include "hints/HintController.h"
#include "hints/HintPanel.h"
#include "hints/InputScanner.h"
#include "platform/Platform.h"
#include "platform/linux/x11/XcbConnection.h"
#include "settings/Settings.h"
#include "tests/harness/desktop/PhysicalKeyboard.h"
#include "tests/harness/desktop/Waiting.h"
#include "triggers/HotkeyMonitor.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QTemporaryDir>

namespace murlo {

namespace {

/// How long the main thread is at work without looking for what else there is to do.
class TurnWatch {
public:
    TurnWatch() {
        const auto* const dispatcher = QAbstractEventDispatcher::instance();
        QObject::connect(dispatcher, &QAbstractEventDispatcher::awake, &m_context,
                         [this] { m_awake = seconds(); });
        QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, &m_context,
                         [this] { longest = std::max(longest, seconds() - m_awake); });
    }

    double longest = 0; ///< seconds

private:
    QObject m_context;
    double m_awake = seconds();
};

class ScanBench {
public:
    ScanBench() {
        m_hotkeys.onDoubleTap = [this](HotkeyAction) { m_hints.begin(); };
        m_hints.onActiveChange = [this](bool active) { m_hotkeys.setFiltering(active); };
        (void)m_hotkeys.start();
    }

    QList<Figure> measure(int applications, int nodes);
    QList<Figure> measureQt(int labels);
    [[nodiscard]] bool isReady() const {
        return waitFor([this] { return m_platform.accessibility->isTrusted(); });
    }

private:
    struct FirstScan { ///< in seconds, of programs that were never asked before
        double toLetters;
        double longestTurn;
    };

    /// Dialogs beside each other, none of which has been asked anything.
    std::vector<std::unique_ptr<Form>> open(int applications, int nodes);
    QList<InputTarget> scan();
    QList<Figure> report(const QString& what, const FirstScan& first, ScreenPatch& letter,
                         const QList<qint64>& pids);
    double secondsToLetters(ScreenPatch& letter);
    [[nodiscard]] static QRect letterOf(const QRectF& box);

    Platform m_platform = loadPlatform();
    QTemporaryDir m_folder;
    std::unique_ptr<SerialQueue> m_disk =
        m_platform.scheduler->makeSerialQueue(QStringLiteral("bench.disk"));
    Settings m_settings{Paths(m_folder.path()), *m_disk};
    HotkeyMonitor m_hotkeys{*m_platform.eventTap, m_settings};
    PhysicalKeyboard m_keyboard;
    XcbConnection m_x;
    InputTargets m_targets{*m_platform.accessibility};
    InputScanner m_scanner{*m_platform.accessibilityTree, *m_platform.applications,
                           *m_platform.scheduler, [this] { return m_platform.surfaces->screens(); },
                           QCoreApplication::applicationPid()};
    HintOverlay m_overlay{
        *m_platform.scheduler, [this] { return m_platform.surfaces->screens(); },
        [this](HintOverlayModel& model, const ScreenInfo& screen, const QList<HintBadge>& badges) {
            return std::make_unique<HintPanel>(model, screen, badges, *m_platform.scheduler,
                                               *m_platform.desktop, *m_platform.surfaces);
        }};
    HintController m_hints{*m_platform.scheduler,
                           *m_platform.accessibility,
                           m_targets,
                           m_scanner,
                           *m_platform.interruptions,
                           m_overlay};
};

QList<InputTarget> ScanBench::scan() {
    std::optional<QList<InputTarget>> found;
    m_scanner.scan([&found](const QList<InputTarget>& targets) { found = targets; });
    (void)waitFor([&found] { return found.has_value(); }, 15000, 1);
    return found.value_or(QList<InputTarget>());
}

QRect ScanBench::letterOf(const QRectF& box) {
    return {box.topLeft().toPoint(), QSize(40, 14)};
}

/// From the key that completes the double tap until the letter can be read.
double ScanBench::secondsToLetters(ScreenPatch& letter) {
    m_keyboard.press("RTSH");
    letPass(60);
    m_keyboard.release("RTSH");
    letPass(80);
    letter.rememberEmpty();
    const double start = seconds();
    m_keyboard.press("RTSH");
    (void)waitFor([&] { return letter.isKnown() && letter.canBeRead(); },
                  letter.isKnown() ? 8000 : 3500, 1);
    const double took = seconds() - start;
    m_keyboard.release("RTSH");
    letPass(500);
    letter.rememberFull();
    m_hints.cancel();
    letPass(700);
    return took;
}

std::vector<std::unique_ptr<Form>> ScanBench::open(int applications, int nodes) {
    std::vector<std::unique_ptr<Form>> forms;
    for (int i = 0; i < applications; ++i) forms.push_back(std::make_unique<Form>(nodes));
    (void)waitFor([&] { return m_scanner.eligibleApplications().size() == applications; });
    letPass(700);
    tile(m_x);
    letPass(1200); // the windows come to rest
    return forms;
}

QList<Figure> ScanBench::measure(int applications, int nodes) {
    progress(QStringLiteral("letters on %1 × %2 objects").arg(applications).arg(nodes));
    // Where the boxes are, and how a letter looks, shows on dialogs just like those that are
    // measured.
    auto forms = open(applications, nodes);
    const TurnWatch turns;
    const QList<InputTarget> targets = scan();
    const double longest = turns.longest;
    if (targets.size() < applications) {
        progress(QStringLiteral("%1 boxes only; left out").arg(targets.size()));
        return {};
    }
    ScreenPatch letter(letterOf(targets.last().frame));
    (void)secondsToLetters(letter);
    forms.clear();
    letPass(500);
    forms = open(applications, nodes);
    const double cold = secondsToLetters(letter); // the program builds its objects
    QList<qint64> pids;
    for (const auto& form : forms) pids.append(form->pid());
    return report(QStringLiteral("%1 GTK 3 program%2")
                      .arg(applications)
                      .arg(applications > 1 ? QStringLiteral("s") : QString()),
                  {cold, longest}, letter, pids);
}

QList<Figure> ScanBench::measureQt(int labels) {
    progress(QStringLiteral("letters on a Qt window with %1 objects").arg(labels));
    const auto start = [this, labels] {
        auto form = std::make_unique<QtForm>(labels);
        (void)waitFor([this] { return m_scanner.eligibleApplications().size() == 1; });
        letPass(2500);
        return form;
    };
    auto form = start();
    const TurnWatch turns;
    const QList<InputTarget> targets = scan();
    const double longest = turns.longest;
    if (targets.isEmpty()) {
        progress(QStringLiteral("no boxes; left out"));
        return {};
    }
    ScreenPatch letter(letterOf(targets.first().frame));
    (void)secondsToLetters(letter);
    form.reset();
    letPass(500);
    form = start();
    const double cold = secondsToLetters(letter);
    return report(QStringLiteral("a Qt 6 program"), {cold, longest}, letter, {form->pid()});
}

QList<Figure> ScanBench::report(const QString& what, const FirstScan& first, ScreenPatch& letter,
                                const QList<qint64>& pids) {
    QList<double> letters;
    for (int i = 0; i < 7; ++i) letters.append(secondsToLetters(letter));
    const ParallelWalk walk(busAddress(), pids);
    CallMonitor monitor(busAddress());
    (void)scan();
    const int calls = monitor.calls();
    const QString of = QStringLiteral("%1, %2%3 objects")
                           .arg(what, walk.whole ? QString() : QStringLiteral("over "))
                           .arg(walk.objects);
    const QString walked = walk.whole ? QStringLiteral("walks in parallel, a call per property")
                                      : QStringLiteral("such walks, ended by their bounds");
    const auto ms = QStringLiteral("ms");
    const double base = walk.took * 1e3;
    return {{QStringLiteral("trigger to letters that can be read, asked before, ") + of,
             median(letters) * 1e3, ms, base, walked},
            {QStringLiteral("the same, never asked before, ") + of, first.toLetters * 1e3, ms, base,
             walked},
            {QStringLiteral("longest turn of the main thread in a first scan, ") + of,
             first.longestTurn * 1e3, ms, 10, QStringLiteral("the aim")},
            {QStringLiteral("D-Bus calls of a scan, ") + of, double(calls), QStringLiteral("calls"),
             4.0 * walk.objects, QStringLiteral("a call per property")}};
}

} // namespace

QList<Figure> scanFigures() {
    ScanBench bench;
    if (!bench.isReady()) {
        progress(QStringLiteral("no accessibility bus; the scan is left out"));
        return {};
    }
    QList<Figure> figures;
    for (const auto& [applications, nodes] :
         {std::pair(1, 500), std::pair(8, 500), std::pair(1, 5000), std::pair(1, 20000)})
        figures += bench.measure(applications, nodes);
    return figures + bench.measureQt(5000);
}

} // namespace murlo
