#include "platform/linux/x11/keys/X11EventTap.h"
#include "tests/harness/Rows.h"
#include "tests/harness/TriggerScript.h"
#include "tests/harness/desktop/KeyWindow.h"
#include "tests/harness/desktop/PhysicalKeyboard.h"

#include <QElapsedTimer>
#include <QProcess>

using namespace murlo;

namespace {

/// A tap on the real keyboard. What it reports is put into words: "56+20002" for a modifier with
/// the flags, "a/0" for a press, "disabled".
struct Bench {
    Bench() { install(); }
    void install() {
        const auto keyDown = [this](const KeyPress& press) {
            words.append(QString("%1/%2").arg(press.characters).arg(press.keyCode));
            if (const auto then = std::exchange(onNextPress, {})) then();
            return swallows;
        };
        const auto flagsChanged = [this](const ModifierChange& change) {
            words.append(QString("%1+%2").arg(change.keyCode).arg(change.flags, 0, 16));
        };
        QVERIFY(tap.install({keyDown, flagsChanged, [this] { words.append("disabled"); }}));
    }
    void startFiltering() {
        tap.setFiltering(true);
        QTest::qWait(50);
    }
    [[nodiscard]] bool reports(const QString& expected) {
        const bool same = QTest::qWaitFor([&] { return words.join(' ') == expected; }, 3000);
        if (!same) qWarning("reported: %s", qPrintable(words.join(' ')));
        return same;
    }

    PhysicalKeyboard keyboard;
    QStringList words;
    bool swallows = false;
    std::function<void()> onNextPress; ///< before it is answered
    std::shared_ptr<SyntheticKeys> synthetic = std::make_shared<SyntheticKeys>();
    X11EventTap tap{synthetic};
};

} // namespace

class EventTapContractTest : public QObject {
    Q_OBJECT

    QString m_layout = "us";

    void setLayout(const QString& layout) {
        if (layout == std::exchange(m_layout, layout)) return;
        QCOMPARE(QProcess::execute("setxkbmap", ("-option  -layout " + layout).split(' ')), 0);
    }

private Q_SLOTS:
    void cleanup() { setLayout("us"); }

    void keysAreToldByPlaceAndLayout_data() {
        const Rows<QString, QByteArray, QString> row; // the layout, the keys and what is reported
        row("left modifiers", "us", "LFSH LCTL LALT LWIN",
            "56+20002 56+0 59+40001 59+0 58+80020 58+0 55+100008 55+0");
        row("right modifiers", "us", "RTSH RCTL RALT RWIN",
            "60+20004 60+0 62+42000 62+0 61+80040 61+0 54+100010 54+0");
        row("named keys", "us", "ESC RTRN BKSP FK05 SPCE", "/53 /36 /51 /96  /49");
        row("a key of no number", "us", "SCLK", "/-1");
        row("German, AltGr", "de", "AB01 AC11 RALT", "y/6 ä/39 61+80040 61+0");
        row("French", "fr", "AD01", "a/12");
        row("Russian beside English", "us,ru -option grp:shifts_toggle", "AD01", "q/12");
        row("Russian alone", "ru", "AD01", "q/12");
        row("Caps Lock is Control", "us -option ctrl:nocaps", "CAPS", "57+40000 57+0");
        row("Control and Alt", "us -option ctrl:swap_lalt_lctl", "LCTL", "59+40001 59+0");
    }
    void keysAreToldByPlaceAndLayout() {
        const auto [layout, keys, expected] = fetch<QString, QByteArray, QString>();
        Bench bench;
        setLayout(layout); // while the tap is watching
        for (const QByteArray& key : keys.split(' ')) bench.keyboard.tap(key);
        QVERIFY(bench.reports(expected));
    }

    void keysKeepTheirOrderAndReleasesAreNotReported() {
        Bench bench;
        for (const char* key : {"AC01", "LFSH", "AB10"}) bench.keyboard.press(key);
        for (const char* key : {"AC01", "AB10", "LFSH"}) bench.keyboard.release(key);
        bench.keyboard.press("AE01");
        QVERIFY(bench.reports("a/0 56+20002 //44 56+0 1/18"));
    }

    // The main thread sleeps all the while: what it hears in the end must tell when keys moved.
    void aRealKeyboardPlaysTheTriggers_data() {
        TriggerScript::addRows(QFINDTESTDATA("../data/triggers.txt"), true);
    }
    void aRealKeyboardPlaysTheTriggers() {
        static const QHash<QString, QByteArray> places{
            {"leftShift", "LFSH"},   {"rightShift", "RTSH"},
            {"leftControl", "LCTL"}, {"rightControl", "RCTL"},
            {"capsLock", "CAPS"},    {"escape", "ESC"},
            {"a", "AC01"},           {"b", "AB05"}};
        const auto [script, reports] = fetch<QString, QString>();
        QString heard;
        // A machine that was late with a key has played another script.
        for (int attempts = 0, late = 1; late && attempts < 10; ++attempts) {
            Bench bench;
            TriggerScript triggers(bench.tap, 0.1);
            bool over = false;
            triggers.monitor.keyInterceptor = [&](const QString& key, qint64) {
                over = over || key == "z";
                return false;
            };
            QVERIFY(triggers.monitor.start());
            QElapsedTimer clock;
            clock.start();
            late = 0;
            triggers.play(script, [&](const QString& key, bool down, int at) {
                QTest::qSleep(int(std::max<qint64>(1, at - clock.elapsed())));
                down ? bench.keyboard.press(places[key]) : bench.keyboard.release(places[key]);
                late += clock.elapsed() > at + 40;
            });
            bench.keyboard.tap("AB01"); // z
            QTRY_VERIFY(over);
            heard = triggers.reports();
        }
        QCOMPARE(heard, reports);
    }

    void aTapRemovedByItsOwnHandlerReportsNothingMore() {
        Bench bench;
        bench.onNextPress = [&] { bench.tap.remove(); };
        bench.keyboard.tap("AC01");
        bench.keyboard.tap("AC02"); // on its way when the tap goes
        QVERIFY(bench.reports("a/0"));
        bench.keyboard.tap("AC03");
        QTest::qWait(50);
        bench.install();
        bench.keyboard.tap("AC04");
        QVERIFY(bench.reports("a/0 f/3"));
    }

    void aKeyboardUnpluggedWithAKeyDownLetsItGo() {
        Bench bench;
        bench.keyboard.press("LFSH");
        QVERIFY(bench.reports("56+20002"));
        bench.keyboard.setPlugged(false);
        QVERIFY(bench.reports("56+20002 56+0"));
        bench.keyboard.setPlugged(true);
        QTest::qWait(100);
        bench.words.clear();
        bench.keyboard.press("RTSH");
        QVERIFY(bench.reports("60+20004"));
    }

    void aSwallowedKeyReachesNobodyAndEverythingElsePasses() {
        Bench bench;
        KeyWindow window;
        bench.swallows = true;
        bench.keyboard.tap("AC01");
        QVERIFY(bench.reports("a/0")); // not filtering yet: no effect
        bench.startFiltering();
        bench.keyboard.tap("AC02");
        bench.keyboard.press("LFSH");
        QVERIFY(bench.reports("a/0 s/1 56+20002"));
        QTRY_VERIFY(bench.keyboard.isDown("LFSH")); // modifiers pass
        bench.swallows = false;
        bench.keyboard.tap("AC03");
        bench.keyboard.release("LFSH");
        QTRY_COMPARE(bench.words.last(), "56+0");
        QTRY_VERIFY(!bench.keyboard.isDown("LFSH"));
        QTRY_COMPARE((window.takeEvents(), window.text()), "aD");
        QCOMPARE(window.focusLosses, 0);
    }

    void keysHeldAcrossTheBeginningAndEndOfFilteringDoNotStick() {
        Bench bench;
        KeyWindow window;
        bench.swallows = true;
        bench.keyboard.press("AC01");
        bench.keyboard.press("LCTL");
        QVERIFY(bench.reports("a/0 59+40001"));
        bench.startFiltering();
        bench.keyboard.release("AC01");
        bench.keyboard.release("LCTL");
        QTRY_VERIFY(!bench.keyboard.isDown("AC01") && !bench.keyboard.isDown("LCTL"));
        bench.keyboard.press("RALT"); // passes, and is held beyond the end
        bench.keyboard.press("AC02"); // swallowed, and held beyond the end
        QTRY_COMPARE(bench.words.last(), "s/1");
        bench.tap.setFiltering(false);
        window.takeEvents();
        window.clear();
        QTest::qWait(900); // it would repeat by now
        QVERIFY(bench.keyboard.isDown("RALT"));
        bench.keyboard.release("AC02");
        bench.keyboard.release("RALT");
        QTRY_VERIFY(!bench.keyboard.isDown("RALT"));
        QTest::qWait(50);
        bench.keyboard.tap("AC03");
        QTRY_COMPARE((window.takeEvents(), window.text()), "d");
    }

    void aKeyThatIsNeverReleasedKeepsNoKeyboard() {
        Bench bench;
        KeyWindow window;
        bench.startFiltering();
        bench.swallows = true;
        bench.keyboard.press("AC02");
        QVERIFY(bench.reports("s/1"));
        bench.tap.setFiltering(false);
        QTRY_VERIFY_WITH_TIMEOUT(
            (bench.keyboard.tap("AC03"), window.takeEvents(), window.text().contains('d')), 10000);
    }

    // The bookkeeping of what is held must not take what we post in a held key's place for a key of
    // its own, whatever makes it look again: here another keyboard, below a stalled main thread.
    void aHeldKeyThatWasPassedOnIsHeldOnce() {
        Bench bench;
        bench.startFiltering();
        bench.keyboard.press("LFSH");
        QTRY_VERIFY(bench.keyboard.isDown("LFSH"));
        QCOMPARE(QProcess::execute("xinput", {"create-master", "another"}), 0);
        QTest::qWait(100);
        bench.keyboard.release("LFSH");
        QTRY_VERIFY(!bench.keyboard.isDown("LFSH"));
        bench.keyboard.tap("LFSH");
        QVERIFY(bench.reports("56+20002 56+0 56+20002 56+0"));
        QProcess::execute("xinput", {"remove-master", "another pointer"});
    }

    void aMainThreadThatDoesNotAnswerLosesTheFilterAndNoKey() {
        Bench bench;
        KeyWindow window;
        bench.startFiltering();
        bench.swallows = true;
        bench.keyboard.press("LFSH");
        bench.onNextPress = [] { QTest::qSleep(400); };
        bench.keyboard.tap("AC01");
        bench.keyboard.tap("AC02");
        QVERIFY(bench.reports("56+20002 a/0 disabled s/1"));
        QTRY_COMPARE((window.takeEvents(), window.text().toLower()), "as");
        bench.tap.enable();
        QTest::qWait(100);
        bench.keyboard.release("LFSH");
        QTRY_VERIFY(!bench.keyboard.isDown("LFSH"));
        bench.keyboard.tap("AC03");
        bench.keyboard.tap("LFSH");
        QVERIFY(bench.reports("56+20002 a/0 disabled s/1 56+0 d/2 56+20002 56+0"));
        QTest::qWait(50);
        window.takeEvents();
        QCOMPARE(window.text().toLower(), "as");
    }
};

QTEST_GUILESS_MAIN(EventTapContractTest)
#include "EventTapContractTest.moc"
