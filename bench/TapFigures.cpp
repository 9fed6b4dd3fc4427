#include "Figures.h"
#include "platform/linux/qt/QtScheduler.h"
#include "platform/linux/x11/keys/X11EventTap.h"
#include "settings/Settings.h"
#include "tests/harness/desktop/PhysicalKeyboard.h"
#include "tests/harness/desktop/Waiting.h"
#include "triggers/HotkeyMonitor.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTemporaryDir>

#include <ctime>
#include <semaphore>
#include <thread>
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

/// What it costs the main thread to be woken by another one that writes a byte to a pipe.
QList<double> wakeUps() {
    int ends[2];
    if (pipe(ends) != 0) return {};
    bool read = false;
    QSocketNotifier notifier(ends[0], QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, [&] {
        char byte = 0;
        read = ::read(ends[0], &byte, 1) == 1;
    });
    std::binary_semaphore wanted(0);
    std::thread writer([&] {
        for (int i = 0; i < events; ++i) {
            wanted.acquire();
            usleep(50); // the main thread is asleep by then
            if (write(ends[1], "x", 1) != 1) qFatal("the pipe is full");
        }
    });
    const QList<double> result = costs(
        [&](int) {
            read = false;
            wanted.release();
        },
        [&] { return read; });
    writer.join();
    close(ends[0]);
    close(ends[1]);
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
    const auto disk = scheduler.makeSerialQueue(QStringLiteral("bench.disk"));
    Settings settings(Paths(folder.path()), *disk);
    X11EventTap tap(std::make_shared<SyntheticKeys>());
    HotkeyMonitor monitor(tap, settings);
    int seen = 0;
    QList<double> handling;
    const auto timed = [&](const auto& work) {
        const double start = threadSeconds();
        work();
        handling.append(threadSeconds() - start);
        ++seen;
    };
    EventTap::Handlers handlers; // the monitor's own, counted and timed
    handlers.keyDown = [&](const KeyPress& key) {
        timed([&] { (void)monitor.handleKeyDown(key); });
        return false;
    };
    handlers.flagsChanged = [&](const ModifierChange& change) {
        timed([&] { monitor.handleFlagsChanged(change); });
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

    const QList<double> bare = wakeUps();
    const auto figure = [&](const char* name, double part) {
        return Figure{QString::fromLatin1(name), quantile(keys, part) * 1e6, QStringLiteral("µs"),
                      quantile(bare, part) * 1e6, QStringLiteral("a byte from another thread")};
    };
    return {{QStringLiteral("one key event judged, p99"), quantile(handling, 0.99) * 1e6,
             QStringLiteral("µs"), 10, QStringLiteral("the aim")},
            figure("one key event on the main thread, its wake-up included, p50", 0.5),
            figure("one key event on the main thread, its wake-up included, p99", 0.99)};
}

} // namespace murlo
