#include "Figures.h"
#include "Screen.h"
#include "hints/HintController.h"
#include "hints/HintPanel.h"
#include "hints/InputScanner.h"
#include "hints/ScreenList.h"
#include "platform/Platform.h"
#include "platform/linux/atspi/AtspiCalls.h"
#include "platform/linux/x11/XcbConnection.h"
#include "settings/Settings.h"
#include "tests/support/desktop/PhysicalKeyboard.h"
#include "tests/support/desktop/Waiting.h"
#include "triggers/HotkeyMonitor.h"

#include <QApplication>
#include <QDBusConnection>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QScrollArea>
#include <QTemporaryDir>
#include <QUuid>

#include <array>
#include <deque>
#include <future>
#include <xcb/xcb.h>

namespace murlo {

namespace {

constexpr int cellsPerRow = 2;

/// A GTK dialog with two lines of text and a list: about `nodes` objects on the accessibility bus.
class Form {
public:
    explicit Form(int nodes) {
        constexpr int others = 25; // what is around the list
        QStringList cells;
        for (int i = 0; i < (nodes - others) / cellsPerRow * cellsPerRow; ++i)
            cells.append(QString::number(i, 36));
        m_process.start(QStringLiteral("zenity"),
                        {QStringLiteral("--forms"), QStringLiteral("--text=Form"),
                         QStringLiteral("--add-entry=One"), QStringLiteral("--add-entry=Two"),
                         QStringLiteral("--add-list=List"),
                         QStringLiteral("--list-values=") + cells.join(QLatin1Char('|')),
                         QStringLiteral("--column-values=A|B"), QStringLiteral("--width=280"),
                         QStringLiteral("--height=380")});
    }
    ~Form() {
        m_process.kill();
        m_process.waitForFinished();
    }
    Form(const Form&) = delete;
    Form& operator=(const Form&) = delete;

    [[nodiscard]] qint64 pid() const { return m_process.processId(); }

private:
    QProcess m_process;
};

/// A window of another toolkit with as much in it.
class QtForm {
public:
    explicit QtForm(int labels) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_LINUX_ACCESSIBILITY_ALWAYS_ON"), QStringLiteral("1"));
        m_process.setProcessEnvironment(environment);
        m_process.start(QCoreApplication::applicationFilePath(),
                        {QStringLiteral("--form"), QString::number(labels)});
    }
    ~QtForm() {
        m_process.kill();
        m_process.waitForFinished();
    }
    QtForm(const QtForm&) = delete;
    QtForm& operator=(const QtForm&) = delete;

    [[nodiscard]] qint64 pid() const { return m_process.processId(); }

private:
    QProcess m_process;
};

/// The straightforward way, within the bounds that a scan has: asks each object that shows for
/// role, states, place and children, and waits for each answer.
class BlockingWalk {
public:
    explicit BlockingWalk(const QString& address)
        : m_name(QUuid::createUuid().toString())
        , m_bus(QDBusConnection::connectToBus(address, m_name)) {}
    ~BlockingWalk() { QDBusConnection::disconnectFromBus(m_name); }
    BlockingWalk(const BlockingWalk&) = delete;
    BlockingWalk& operator=(const BlockingWalk&) = delete;

    void run(qint64 pid) {
        constexpr double limit = 2.8; // seconds
        constexpr int budget = 14000; // objects of a window
        const double start = seconds();
        std::deque<AtspiReference> open = windowsOf(pid);
        while (!open.empty() && walked < budget) {
            if (seconds() - start > limit) return;
            const AtspiReference object = open.front();
            open.pop_front();
            ++walked;
            (void)atspi::roleOf(ask(atspi::getRole(object)));
            const auto states = atspi::statesOf(ask(atspi::getState(object)));
            (void)atspi::extentsOf(ask(atspi::getExtents(object, atspi::Coordinates::screen)));
            if (!states || !states->has(AtspiState::showing)) continue;
            for (const AtspiReference& child : atspi::referencesOf(ask(atspi::getChildren(object))))
                if (!child.isNull()) open.push_back(child);
        }
        whole = open.empty();
    }

    int walked = 0;
    bool whole = false; ///< no bound ended it

private:
    [[nodiscard]] QDBusMessage ask(const QDBusMessage& call) const {
        return m_bus.call(call, QDBus::Block, 5000);
    }
    [[nodiscard]] std::deque<AtspiReference> windowsOf(qint64 wanted) const {
        std::deque<AtspiReference> found;
        for (const AtspiReference& program : atspi::referencesOf(
                 ask(atspi::getChildren({atspi::registryService, atspi::rootPath})))) {
            const auto pid = atspi::numberOf(ask(atspi::getProcessId(program.service)));
            if (!pid || qint64(*pid) != wanted) continue;
            for (const AtspiReference& window :
                 atspi::referencesOf(ask(atspi::getChildren(program))))
                found.push_back(window);
        }
        return found;
    }

    QString m_name;
    QDBusConnection m_bus;
};

/// All programs walked in parallel, each on a thread of its own.
struct ParallelWalk {
    ParallelWalk(const QString& address, const QList<qint64>& pids) {
        const double start = seconds();
        std::vector<std::future<std::pair<int, bool>>> walks;
        for (const qint64 pid : pids)
            walks.push_back(std::async(std::launch::async, [address, pid] {
                BlockingWalk walk(address);
                walk.run(pid);
                return std::pair(walk.walked, walk.whole);
            }));
        for (auto& walk : walks) {
            const auto [count, complete] = walk.get();
            objects += count;
            whole = whole && complete;
        }
        took = seconds() - start;
    }

    int objects = 0;
    bool whole = true;
    double took = 0; ///< seconds
};

/// Counts the method calls on a bus, by the bus's own monitor.
class CallMonitor {
public:
    explicit CallMonitor(const QString& address) {
        m_process.start(QStringLiteral("dbus-monitor"),
                        {QStringLiteral("--address"), address, QStringLiteral("--profile")});
        m_process.waitForStarted();
        letPass(500);
        m_process.readAllStandardOutput();
    }
    ~CallMonitor() {
        m_process.kill();
        m_process.waitForFinished();
    }
    CallMonitor(const CallMonitor&) = delete;
    CallMonitor& operator=(const CallMonitor&) = delete;

    [[nodiscard]] int calls() {
        letPass(300);
        int count = 0;
        for (const QByteArray& line : m_process.readAllStandardOutput().split('\n'))
            if (line.startsWith("mc\t")) ++count;
        return count;
    }

private:
    QProcess m_process;
};

/// Puts the dialogs beside each other, in the order in which they came: none is behind another.
void tile(const XcbConnection& x) {
    const auto atom = x.reply(xcb_intern_atom_reply, xcb_intern_atom(x, 1, 16, "_NET_CLIENT_LIST"));
    if (!atom) return;
    const auto list = x.reply(xcb_get_property_reply, xcb_get_property(x, 0, x.root(), atom->atom,
                                                                       XCB_ATOM_WINDOW, 0, 100));
    if (!list) return;
    const auto* windows = static_cast<const xcb_window_t*>(xcb_get_property_value(list.get()));
    const int count = xcb_get_property_value_length(list.get()) / int(sizeof(xcb_window_t));
    for (int i = 0; i < count; ++i) {
        const std::array<quint32, 2> place{quint32(i % 4 * 315), quint32(i / 4 * 440)};
        xcb_configure_window(x, windows[i], XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y,
                             place.data());
    }
    xcb_flush(x);
}

QString busAddress() {
    const auto call = QDBusMessage::createMethodCall(
        QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
        QStringLiteral("org.a11y.Bus"), QStringLiteral("GetAddress"));
    return QDBusConnection::sessionBus().call(call).arguments().value(0).toString();
}

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
    /// Dialogs beside each other, none of which has been asked anything.
    std::vector<std::unique_ptr<Form>> open(int applications, int nodes);
    QList<InputTarget> scan();
    QList<Figure> report(const QString& what, double cold, ScreenPatch& letter,
                         const QList<qint64>& pids);
    double secondsToLetters(ScreenPatch& letter);
    [[nodiscard]] static QRect letterOf(const QRectF& box);

    Platform m_platform = loadPlatform();
    QTemporaryDir m_folder;
    Settings m_settings{Paths(m_folder.path()), *m_platform.scheduler};
    HotkeyMonitor m_hotkeys{*m_platform.eventTap, m_settings};
    PhysicalKeyboard m_keyboard;
    XcbConnection m_x;
    InputTargets m_targets{*m_platform.accessibility};
    InputScanner m_scanner{*m_platform.accessibilityTree, *m_platform.applications,
                           *m_platform.scheduler, currentScreens,
                           QCoreApplication::applicationPid()};
    HintOverlay m_overlay{
        *m_platform.scheduler, hintScreens,
        [this](HintOverlayModel& model, const HintScreen& screen, const QList<HintBadge>& badges) {
            return std::make_unique<HintPanel>(model, screen, badges, *m_platform.scheduler,
                                               *m_platform.desktop);
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
    (void)waitFor([&found] { return found.has_value(); }, 15000, 0);
    return found.value_or(QList<InputTarget>());
}

QRect ScanBench::letterOf(const QRectF& box) {
    return {currentScreens().flipped(box).topLeft().toPoint(), QSize(40, 14)};
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
                  letter.isKnown() ? 8000 : 3500, 0);
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
    const QList<InputTarget> targets = scan();
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
                  cold, letter, pids);
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
    const QList<InputTarget> targets = scan();
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
    return report(QStringLiteral("a Qt 6 program"), cold, letter, {form->pid()});
}

QList<Figure> ScanBench::report(const QString& what, double cold, ScreenPatch& letter,
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
            {QStringLiteral("the same, never asked before, ") + of, cold * 1e3, ms, base, walked},
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

int showForm(int labels) {
    QWidget window;
    auto* const rows = new QVBoxLayout(&window);
    for (int i = 0; i < 2; ++i) rows->addWidget(new QLineEdit);
    auto* const inside = new QWidget;
    auto* const grid = new QGridLayout(inside);
    grid->setSpacing(0);
    for (int i = 0; i < labels; ++i)
        grid->addWidget(new QLabel(QString::number(i, 36)), i / 40, i % 40);
    auto* const area = new QScrollArea;
    area->setWidget(inside);
    rows->addWidget(area);
    window.resize(900, 600);
    window.show();
    return QApplication::exec();
}

} // namespace murlo
