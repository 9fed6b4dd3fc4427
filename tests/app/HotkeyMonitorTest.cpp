#include "triggers/HotkeyMonitor.h"
#include "settings/Settings.h"
#include "tests/support/FakeEventTap.h"
#include "tests/support/TriggerScript.h"
#include "tests/support/VirtualScheduler.h"

#include <QTemporaryDir>
#include <QTest>

using namespace murlo;

namespace {

constexpr qint64 leftControlCode = 59;

/// A keyboard that exists only as flags: presses and releases become the events of a tap.
class FlagsKeyboard {
public:
    explicit FlagsKeyboard(HotkeyMonitor& monitor)
        : m_monitor(monitor) {}

    void press(const QString& key) { move(key, true); }
    void release(const QString& key) { move(key, false); }

private:
    struct Modifier {
        qint64 code;
        quint32 device;
        quint32 family;
    };

    static std::optional<Modifier> modifier(const QString& key) {
        using namespace ModifierFlag;
        if (key == QLatin1String("leftControl")) return Modifier{leftControlCode, 0x1, control};
        if (key == QLatin1String("capsLock")) return Modifier{57, 0, capsLock};
        const auto trigger = triggerKeyFromRawValue(key);
        if (!trigger) return std::nullopt;
        const TriggerKeyInfo& known = info(*trigger);
        quint32 family = secondaryFunction;
        if (key.endsWith(QLatin1String("Shift"))) family = shift;
        if (key.endsWith(QLatin1String("Control"))) family = control;
        if (key.endsWith(QLatin1String("Option"))) family = option;
        if (key.endsWith(QLatin1String("Command"))) family = command;
        return Modifier{known.keyCode, known.deviceFlag, family};
    }

    void move(const QString& key, bool down) {
        if (const auto known = modifier(key)) {
            if (down) {
                m_down.insert(key, *known);
            } else {
                m_down.remove(key);
            }
            quint32 flags = 0;
            for (const Modifier& held : std::as_const(m_down)) flags |= held.device | held.family;
            m_monitor.handleFlagsChanged({known->code, flags});
        } else if (down) {
            const bool escape = key == QLatin1String("escape");
            m_monitor.handleKeyDown(
                {escape ? HotkeyMonitor::escapeKeyCode : 0, escape ? QString() : key});
        }
    }

    HotkeyMonitor& m_monitor;
    QMap<QString, Modifier> m_down;
};

} // namespace

class HotkeyMonitorTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_folder;
    VirtualScheduler m_scheduler;

private Q_SLOTS:
    void aScriptIsReportedAsExpected_data() {
        QTest::addColumn<int>("index");
        const auto scripts = TriggerScript::load(QFINDTESTDATA("../data/triggers.txt"));
        for (int i = 0; i < scripts.size(); ++i) QTest::newRow(qPrintable(scripts.at(i).name)) << i;
    }

    void aScriptIsReportedAsExpected() {
        QFETCH(int, index);
        const auto script = TriggerScript::load(QFINDTESTDATA("../data/triggers.txt")).at(index);
        Settings settings(Paths(m_folder.filePath(QString::number(index))), m_scheduler);
        for (const auto& [key, value] : script.settings) settings.set(qPrintable(key), value);
        FakeEventTap tap;
        HotkeyMonitor monitor(tap, settings, m_scheduler);
        QStringList reports;
        const auto name = [](HotkeyAction action) {
            return action == HotkeyAction::dictate ? QStringLiteral("dictate")
                                                   : QStringLiteral("pickTarget");
        };
        monitor.onDoubleTap = [&](HotkeyAction action) {
            reports.append(QStringLiteral("doubleTap ") + name(action));
        };
        monitor.onTriggerUp = [&](HotkeyAction action, double seconds) {
            reports.append(QStringLiteral("up %1 %2").arg(name(action)).arg(seconds));
        };
        monitor.onEscape = [&] { reports.append(QStringLiteral("escape")); };
        FlagsKeyboard keyboard(monitor);
        for (const TriggerScript::Step& step : script.steps) {
            switch (step.kind) {
            case TriggerScript::Step::press:
                keyboard.press(step.key);
                break;
            case TriggerScript::Step::release:
                keyboard.release(step.key);
                break;
            case TriggerScript::Step::wait:
                m_scheduler.advance(step.seconds);
                break;
            }
        }
        QVERIFY2(reportsAgree(reports, script.expected, 1e-6),
                 qPrintable(reports.join(QStringLiteral("; "))));
    }

    void anInterceptedKeyLeavesThePendingTapAndEscapeAlone() {
        Settings settings(Paths(m_folder.filePath(QStringLiteral("intercept"))), m_scheduler);
        FakeEventTap tap;
        HotkeyMonitor monitor(tap, settings, m_scheduler);
        int doubleTaps = 0;
        int escapes = 0;
        monitor.onDoubleTap = [&](HotkeyAction) { ++doubleTaps; };
        monitor.onEscape = [&] { ++escapes; };
        monitor.keyInterceptor = [](const QString&, qint64) { return true; };
        FlagsKeyboard keyboard(monitor);
        keyboard.press(QStringLiteral("leftShift"));
        keyboard.release(QStringLiteral("leftShift"));
        keyboard.press(QStringLiteral("a"));
        keyboard.press(QStringLiteral("escape"));
        keyboard.press(QStringLiteral("leftShift"));
        QCOMPARE(doubleTaps, 1);
        QCOMPARE(escapes, 0);
    }

    void theTapFollowsStartStopAndAccess() {
        Settings settings(Paths(m_folder.filePath(QStringLiteral("tap"))), m_scheduler);
        FakeEventTap tap;
        HotkeyMonitor monitor(tap, settings, m_scheduler);
        tap.setAccess(InputMonitoringAccess::denied);
        QVERIFY(monitor.start());
        QVERIFY(monitor.hasTap());
        QVERIFY(!monitor.hasLiveTap());
        monitor.stop();
        QVERIFY(!tap.isInstalled());
        tap.setAccess(InputMonitoringAccess::granted);
        QVERIFY(monitor.start());
        QVERIFY(monitor.start());
        QVERIFY(monitor.hasLiveTap());
        tap.disable();
        QVERIFY(tap.isEnabled());
        monitor.stop();
        tap.refuseInstall();
        QVERIFY(!monitor.start());
        QVERIFY(!monitor.hasTap());
    }
};

QTEST_GUILESS_MAIN(HotkeyMonitorTest)
#include "HotkeyMonitorTest.moc"
