#include "tests/fakes/FakeEventTap.h"
#include "tests/harness/TriggerScript.h"

#include <numeric>

using namespace murlo;

namespace {

/// A monitor with a keyboard that exists only as flags.
struct Rig {
    FakeEventTap tap;
    TriggerScript triggers{tap};
    HotkeyMonitor& monitor = triggers.monitor;
    QMap<QString, quint32> held;

    QString play(const QString& script) {
        using namespace ModifierFlag;
        static const QHash<QString, std::pair<qint64, quint32>> modifiers{
            {"leftShift", {56, 0x2 | shift}},     {"rightShift", {60, 0x4 | shift}},
            {"leftControl", {59, 0x1 | control}}, {"rightControl", {62, 0x2000 | control}},
            {"leftOption", {58, 0x20 | option}},  {"capsLock", {57, capsLock}}};
        monitor.start();
        triggers.play(script, [&](const QString& key, bool down, int at) {
            const auto modifier = modifiers.find(key);
            if (modifier == modifiers.end()) {
                if (!down) return;
                const bool escape = key == "escape";
                tap.press(escape ? 53 : 0, escape ? QString() : key, at);
                return;
            }
            // The flag of Caps Lock is the lock's, which every other press takes off.
            const bool on = key == "capsLock" ? held.contains(key) != down : down;
            on ? void(held.insert(key, modifier->second)) : void(held.remove(key));
            tap.modifier(modifier->first,
                         std::accumulate(held.cbegin(), held.cend(), 0U, std::bit_or()), at);
        });
        return triggers.reports();
    }
};

} // namespace

class HotkeyMonitorTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aScriptIsReportedAsExpected_data() {
        TriggerScript::addRows(QFINDTESTDATA("../data/triggers.txt"));
    }
    void aScriptIsReportedAsExpected() {
        const auto [script, reports] = fetch<QString, QString>();
        QCOMPARE(Rig().play(script), reports);
    }

    void anInterceptedKeyLeavesThePendingTapAndEscapeAlone() {
        Rig rig;
        rig.monitor.keyInterceptor = [](const QString&, qint64) { return true; };
        QCOMPARE(rig.play("+leftShift -leftShift +a +escape +leftShift"), "doubleTap dictate");
    }

    void aTapBeforeOtherKeysOrAPauseIsForgotten() {
        Rig rig;
        rig.play("+leftShift 60 -leftShift");
        rig.monitor.reload();
        QCOMPARE(rig.play("+leftShift 60 -leftShift"), QString());
        rig.monitor.stop();
        QCOMPARE(rig.play("+leftShift"), QString());
    }

    void theTapFollowsStartStopAndAccess() {
        Rig rig;
        rig.tap.setAccess(InputMonitoringAccess::denied);
        QVERIFY(rig.monitor.start() && rig.monitor.hasTap() && !rig.monitor.hasLiveTap());
        rig.monitor.stop();
        QVERIFY(!rig.tap.isInstalled());
        rig.tap.setAccess(InputMonitoringAccess::granted);
        QVERIFY(rig.monitor.start() && rig.monitor.start() && rig.monitor.hasLiveTap());
        rig.tap.disable();
        QVERIFY(rig.tap.isEnabled());
        rig.monitor.stop();
        rig.tap.refuseInstall();
        QVERIFY(!rig.monitor.start() && !rig.monitor.hasTap());
    }
};

QTEST_GUILESS_MAIN(HotkeyMonitorTest)
#include "HotkeyMonitorTest.moc"
