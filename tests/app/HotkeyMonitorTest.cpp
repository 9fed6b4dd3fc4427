#include "triggers/HotkeyMonitor.h"
#include "settings/Settings.h"
#include "tests/fakes/FakeEventTap.h"
#include "tests/fakes/VirtualScheduler.h"
#include "tests/harness/TriggerScript.h"

#include <QTemporaryDir>
#include <QTest>

using namespace murlo;

namespace {

/// A monitor and a keyboard that exists only as flags: presses and releases become events.
struct Rig {
    explicit Rig(VirtualScheduler& time)
        : scheduler(time) {
        const auto name = [](HotkeyAction action) {
            return action == HotkeyAction::dictate ? "dictate" : "pickTarget";
        };
        monitor.onDoubleTap = [=, this](HotkeyAction action) {
            reports.append(QString("doubleTap ") + name(action));
        };
        monitor.onTriggerUp = [=, this](HotkeyAction action, double seconds) {
            reports.append(QString("up %1 %2").arg(name(action)).arg(seconds));
        };
        monitor.onEscape = [this] { reports.append("escape"); };
    }

    struct Modifier {
        qint64 code;
        quint32 flags;
    };
    static std::optional<Modifier> modifier(const QString& key) {
        using namespace ModifierFlag;
        if (key == "leftControl") return Modifier{59, 0x1 | control};
        if (key == "capsLock") return Modifier{57, capsLock};
        const auto trigger = triggerKeyFromRawValue(key);
        if (!trigger) return std::nullopt;
        quint32 family = secondaryFunction;
        for (const auto& [ending, flag] : {std::pair{"Shift", shift},
                                           {"Control", control},
                                           {"Option", option},
                                           {"Command", command}}) {
            if (key.endsWith(ending)) family = flag;
        }
        return Modifier{info(*trigger).keyCode, info(*trigger).deviceFlag | family};
    }

    void move(const QString& key, bool down) {
        if (const auto known = modifier(key)) {
            down ? void(held.insert(key, known->flags)) : void(held.remove(key));
            quint32 flags = 0;
            for (const quint32 each : std::as_const(held)) flags |= each;
            monitor.handleFlagsChanged({known->code, flags, now});
        } else if (down) {
            const bool escape = key == "escape";
            monitor.handleKeyDown(
                {escape ? HotkeyMonitor::escapeKeyCode : 0, escape ? QString() : key, now});
        }
    }

    QTemporaryDir folder;
    VirtualScheduler& scheduler;
    std::unique_ptr<SerialQueue> disk = scheduler.makeSerialQueue("test.disk");
    Settings settings{Paths(folder.path()), *disk};
    FakeEventTap tap;
    HotkeyMonitor monitor{tap, settings};
    qint64 now = 1000; ///< on the keyboard's clock
    QMap<QString, quint32> held;
    QStringList reports;
};

} // namespace

class HotkeyMonitorTest : public QObject {
    Q_OBJECT

    VirtualScheduler m_scheduler;
    const QList<TriggerScript> m_scripts =
        TriggerScript::load(QFINDTESTDATA("../data/triggers.txt"));

private Q_SLOTS:
    void aScriptIsReportedAsExpected_data() {
        QTest::addColumn<int>("index");
        for (int i = 0; i < m_scripts.size(); ++i)
            QTest::newRow(qPrintable(m_scripts.at(i).name)) << i;
    }
    void aScriptIsReportedAsExpected() {
        QFETCH(int, index);
        const TriggerScript& script = m_scripts.at(index);
        Rig rig(m_scheduler);
        for (const auto& [key, value] : script.settings) rig.settings.set(qPrintable(key), value);
        for (const TriggerScript::Step& step : script.steps) {
            if (step.kind == TriggerScript::Step::wait) {
                rig.now += step.milliseconds;
            } else {
                rig.move(step.key, step.kind == TriggerScript::Step::press);
            }
        }
        QVERIFY2(reportsAgree(rig.reports, script.expected, 1e-6),
                 qPrintable(rig.reports.join("; ")));
    }

    void anInterceptedKeyLeavesThePendingTapAndEscapeAlone() {
        Rig rig(m_scheduler);
        rig.monitor.keyInterceptor = [](const QString&, qint64) { return true; };
        rig.move("leftShift", true);
        rig.move("leftShift", false);
        rig.move("a", true);
        rig.move("escape", true);
        rig.move("leftShift", true);
        QCOMPARE(rig.reports, QStringList{"doubleTap dictate"});
    }

    void theTapFollowsStartStopAndAccess() {
        Rig rig(m_scheduler);
        rig.tap.setAccess(InputMonitoringAccess::denied);
        QVERIFY(rig.monitor.start());
        QVERIFY(rig.monitor.hasTap());
        QVERIFY(!rig.monitor.hasLiveTap());
        rig.monitor.stop();
        QVERIFY(!rig.tap.isInstalled());
        rig.tap.setAccess(InputMonitoringAccess::granted);
        QVERIFY(rig.monitor.start());
        QVERIFY(rig.monitor.start());
        QVERIFY(rig.monitor.hasLiveTap());
        rig.tap.disable();
        QVERIFY(rig.tap.isEnabled());
        rig.monitor.stop();
        rig.tap.refuseInstall();
        QVERIFY(!rig.monitor.start());
        QVERIFY(!rig.monitor.hasTap());
    }
};

QTEST_GUILESS_MAIN(HotkeyMonitorTest)
#include "HotkeyMonitorTest.moc"
