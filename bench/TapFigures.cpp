#include "Figures.h"
#include "platform/linux/freedesktop/QtScheduler.h"
#include "platform/linux/x11/X11EventTap.h"
#include "settings/Settings.h"
#include "tests/support/desktop/PhysicalKeyboard.h"
#include "tests/support/desktop/Waiting.h"
#include "triggers/HotkeyMonitor.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTemporaryDir>

#include <ctime>
#include <unistd.h>

namespace murlo {

namespace {

constexpr int events = 2000;

/// Seconds of processor time that the calling thread has used.
double threadSeconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Seconds of the main thread that each event costs: from the moment it is caused until it has been
/// handled, waiting aside.
QList<double> costs(const std::function<void(int)>& cause, const std::function<bool()>& handled) {
    QList<double> result;
    for (int i = 0; i < events; ++i) {
        cause(i);
        const double start = threadSeconds();
        while (!handled()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        result.append(threadSeconds() - start);
    }
    return result;
}

} // namespace

QList<Figure> tapFigures() {
    progress(QStringLiteral("key events through the tap"));
    const PhysicalKeyboard hardware;
    if (!hardware.isThere()) return {};
    PhysicalKeyboard keyboard;
    QTemporaryDir folder;
    QtScheduler scheduler;
    Settings settings(Paths(folder.path()), scheduler);
    X11EventTap tap(std::make_shared<SyntheticKeys>());
    HotkeyMonitor monitor(tap, settings, scheduler);
    int seen = 0;
    EventTap::Handlers handlers; // the monitor's own, counted
    handlers.keyDown = [&](const KeyPress& key) {
        ++seen;
        return monitor.handleKeyDown(key);
    };
    handlers.flagsChanged = [&](const ModifierChange& change) {
        ++seen;
        monitor.handleFlagsChanged(change);
    };
    if (!tap.install(handlers)) return {};
    letPass(50);
    int expected = 0;
    const QList<double> keys = costs(
        [&](int i) {
            // Shift down, Shift up, a letter (its release is not reported), in turn.
            if (i % 3 == 0) keyboard.press("LFSH");
            if (i % 3 == 1) keyboard.release("LFSH");
            if (i % 3 == 2) keyboard.tap("AC01");
            ++expected;
        },
        [&] { return seen >= expected; });

    int ends[2];
    if (pipe(ends) != 0) return {};
    bool read = false;
    QSocketNotifier notifier(ends[0], QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, [&] {
        char byte = 0;
        read = ::read(ends[0], &byte, 1) == 1;
    });
    const QList<double> bare = costs(
        [&](int) {
            read = false;
            if (write(ends[1], "x", 1) != 1) qFatal("the pipe is full");
        },
        [&] { return read; });
    close(ends[0]);
    close(ends[1]);
    const auto figure = [&](const char* name, double part) {
        return Figure{QString::fromLatin1(name), quantile(keys, part) * 1e6, QStringLiteral("µs"),
                      quantile(bare, part) * 1e6, QStringLiteral("a byte through a pipe")};
    };
    return {figure("one key event on the main thread, its wake-up included, p50", 0.5),
            figure("one key event on the main thread, its wake-up included, p99", 0.99)};
}

} // namespace murlo
