#include "Figures.h"
#include "hints/HintController.h"
#include "hints/HintPanel.h"
#include "hints/InputScanner.h"
#include "hints/ScreenList.h"
#include "platform/Platform.h"
#include "platform/linux/atspi/AtspiCalls.h"
#include "platform/linux/x11/XcbConnection.h"
#include "tests/support/desktop/Waiting.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QProcess>

#include <array>
#include <deque>
#include <xcb/xcb.h>

namespace murlo {

namespace {

constexpr double walkLimit = 20; ///< seconds; what remains is reckoned from the objects seen
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

/// The straightforward way: asks each object for role, states, place and children, and waits for
/// each answer.
class BlockingWalk {
public:
    explicit BlockingWalk(const QString& address)
        : m_bus(QDBusConnection::connectToBus(address, QStringLiteral("murlo-bench-walk"))) {}
    ~BlockingWalk() { QDBusConnection::disconnectFromBus(m_bus.name()); }
    BlockingWalk(const BlockingWalk&) = delete;
    BlockingWalk& operator=(const BlockingWalk&) = delete;

    /// The programs among `pids` that are on the bus.
    [[nodiscard]] std::deque<AtspiReference> programs(const QList<qint64>& pids) const {
        std::deque<AtspiReference> found;
        for (const AtspiReference& program : atspi::referencesOf(
                 ask(atspi::getChildren({atspi::registryService, atspi::rootPath})))) {
            const auto pid = atspi::numberOf(ask(atspi::getProcessId(program.service)));
            if (pid && pids.contains(qint64(*pid))) found.push_back(program);
        }
        return found;
    }

    void run(std::deque<AtspiReference> open) {
        const double start = seconds();
        while (!open.empty() && seconds() - start < walkLimit) {
            const AtspiReference object = open.front();
            open.pop_front();
            (void)atspi::roleOf(ask(atspi::getRole(object)));
            (void)atspi::statesOf(ask(atspi::getState(object)));
            (void)atspi::extentsOf(ask(atspi::getExtents(object, atspi::Coordinates::screen)));
            for (const AtspiReference& child : atspi::referencesOf(ask(atspi::getChildren(object))))
                if (!child.isNull()) open.push_back(child);
            ++walked;
        }
        nodes = walked + int(open.size());
        took = (seconds() - start) * nodes / walked;
    }

    int walked = 0;
    int nodes = 0;
    double took = 0; ///< seconds, for all nodes

private:
    [[nodiscard]] QDBusMessage ask(const QDBusMessage& call) const {
        return m_bus.call(call, QDBus::Block, 5000);
    }

    QDBusConnection m_bus;
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
    QList<Figure> measure(int applications, int nodes);
    [[nodiscard]] bool isReady() const {
        return waitFor([this] { return m_platform.accessibility->isTrusted(); });
    }

private:
    /// Dialogs beside each other, none of which has been asked anything.
    std::vector<std::unique_ptr<Form>> open(int applications, int nodes);
    QList<InputTarget> scan();
    double secondsToLetters(const QRectF& box);
    [[nodiscard]] QByteArray pixelsOf(const QRectF& box) const;

    Platform m_platform = loadPlatform();
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

/// What the screen shows around a box's top left corner, where its letter comes.
QByteArray ScanBench::pixelsOf(const QRectF& box) const {
    const QPoint corner = currentScreens().flipped(box).topLeft().toPoint();
    const auto image = m_x.reply(
        xcb_get_image_reply, xcb_get_image(m_x, XCB_IMAGE_FORMAT_Z_PIXMAP, m_x.root(),
                                           qint16(corner.x()), qint16(corner.y()), 40, 14, ~0U));
    if (!image) return {};
    return {reinterpret_cast<const char*>(xcb_get_image_data(image.get())),
            xcb_get_image_data_length(image.get())};
}

/// From the trigger until the screen has changed where the letter of `box` comes.
double ScanBench::secondsToLetters(const QRectF& box) {
    const QByteArray before = pixelsOf(box);
    const double start = seconds();
    m_hints.begin();
    (void)waitFor([&] { return pixelsOf(box) != before; }, 8000, 0);
    const double took = seconds() - start;
    letPass(300);
    m_hints.cancel();
    letPass(600);
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
    // Where the boxes are shows on dialogs just like those that are measured.
    auto forms = open(applications, nodes);
    const QList<InputTarget> targets = scan();
    if (targets.size() < applications) {
        progress(QStringLiteral("%1 boxes only; left out").arg(targets.size()));
        return {};
    }
    forms.clear();
    letPass(500);
    forms = open(applications, nodes);
    // The first contact, in which a program builds its objects.
    const double cold = secondsToLetters(targets.last().frame);
    QList<double> letters;
    for (int i = 0; i < 7; ++i) letters.append(secondsToLetters(targets.last().frame));
    const double warm = timed(7, [this] { (void)scan(); });
    QList<qint64> pids;
    for (const auto& form : forms) pids.append(form->pid());
    BlockingWalk walk(busAddress());
    walk.run(walk.programs(pids));
    CallMonitor monitor(busAddress());
    (void)scan();
    const int calls = monitor.calls();

    const QString what = QStringLiteral("%1 application%2, %3 objects, %4 boxes")
                             .arg(applications)
                             .arg(applications > 1 ? QStringLiteral("s") : QString())
                             .arg(walk.nodes)
                             .arg(targets.size());
    const QString walked =
        walk.walked == walk.nodes
            ? QStringLiteral("a call per property")
            : QStringLiteral("a call per property, scaled from %1 objects").arg(walk.walked);
    const auto ms = QStringLiteral("ms");
    const double base = walk.took * 1e3;
    return {{QStringLiteral("trigger to letters on screen, asked before, ") + what,
             median(letters) * 1e3, ms, base, walked},
            {QStringLiteral("trigger to letters on screen, never asked before, ") + what,
             cold * 1e3, ms, base, walked},
            {QStringLiteral("scan, ") + what, warm * 1e3, ms, base, walked},
            {QStringLiteral("D-Bus calls of a scan, ") + what, double(calls),
             QStringLiteral("calls"), 4.0 * walk.nodes, QStringLiteral("a call per property")}};
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
         {std::pair(1, 500), std::pair(4, 500), std::pair(8, 500), std::pair(1, 5000),
          std::pair(1, 20000)})
        figures += bench.measure(applications, nodes);
    return figures;
}

} // namespace murlo
