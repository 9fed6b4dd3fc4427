#include "platform/linux/x11/keys/KeyPositions.h"
#include "platform/linux/x11/keys/X11EventTap.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakeEventTap.h"
#include "tests/harness/desktop/KeyWindow.h"
#include "tests/harness/desktop/PhysicalKeyboard.h"

#include <QProcess>
#include <QTest>

using namespace murlo;

namespace {

/// A tap with the keyboard that it watches. Keys go by their place's name.
class Bench : public ContractWorld {
public:
    [[nodiscard]] virtual EventTap& tap() = 0;
    virtual void press(const QByteArray& name) = 0;
    virtual void release(const QByteArray& name) = 0;
};

class FakeBench : public Bench {
public:
    [[nodiscard]] EventTap& tap() override { return m_tap; }
    void press(const QByteArray& name) override { move(name, true); }
    void release(const QByteArray& name) override { move(name, false); }

private:
    void move(const QByteArray& name, bool down) {
        const KeyPosition key = keyPosition(name);
        if (key.isModifier) {
            const quint32 bits = key.sideFlag | key.familyFlag;
            m_flags = down ? m_flags | bits : m_flags & ~bits;
            m_tap.modifier(key.keyCode, m_flags);
        } else if (down) {
            m_tap.press(key.keyCode, QString(QLatin1Char(usCharacter(name))));
        }
    }

    FakeEventTap m_tap;
    quint32 m_flags = 0;
};

class RealBench : public Bench {
public:
    [[nodiscard]] EventTap& tap() override { return m_tap; }
    void press(const QByteArray& name) override { keyboard.press(name); }
    void release(const QByteArray& name) override { keyboard.release(name); }

    PhysicalKeyboard keyboard;

private:
    X11EventTap m_tap{std::make_shared<SyntheticKeys>()};
};

/// Everything a tap reports, as words: "56+20002" a modifier with its flags, "a/0" a press.
class Report {
public:
    EventTap::Handlers handlers() {
        return {[this](const KeyPress& press) {
                    words.append(QStringLiteral("%1/%2").arg(press.characters).arg(press.keyCode));
                    return swallows;
                },
                [this](const ModifierChange& change) {
                    words.append(
                        QStringLiteral("%1+%2").arg(change.keyCode).arg(change.flags, 0, 16));
                },
                [this] { words.append("disabled"); }};
    }
    [[nodiscard]] bool becomes(const QString& expected) {
        const bool same = QTest::qWaitFor([&] { return text() == expected; }, 3000);
        if (!same) qWarning("reported: %s", qPrintable(text()));
        return same;
    }
    [[nodiscard]] QString text() const { return words.join(QLatin1Char(' ')); }

    QStringList words;
    bool swallows = false;
};

} // namespace

class EventTapContractTest : public QObject {
    Q_OBJECT

    std::unique_ptr<Bench> m_bench;

    Bench& bench() {
        m_bench = makeWorldOfRow<Bench, FakeBench, RealBench>();
        return *m_bench;
    }
    static void layout(const QStringList& arguments) {
        QCOMPARE(QProcess::execute("setxkbmap", arguments), 0);
    }

private Q_SLOTS:
    void cleanup() { m_bench.reset(); }

    void modifiersComeWithTheirSideAndFamily_data() {
        QTest::addColumn<bool>("real");
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QString>("expected");
        const QList<std::pair<QByteArray, QString>> keys{
            {"LFSH", "56+20002 56+0"},  {"RTSH", "60+20004 60+0"}, {"LCTL", "59+40001 59+0"},
            {"RCTL", "62+42000 62+0"},  {"LALT", "58+80020 58+0"}, {"RALT", "61+80040 61+0"},
            {"LWIN", "55+100008 55+0"}, {"RWIN", "54+100010 54+0"}};
        for (const auto& [key, expected] : keys) {
            QTest::newRow("fake " + key) << false << key << expected;
            QTest::newRow("X11 " + key) << true << key << expected;
        }
    }
    void modifiersComeWithTheirSideAndFamily() {
        QFETCH(QByteArray, key);
        QFETCH(QString, expected);
        Report report;
        QVERIFY(bench().tap().install(report.handlers()));
        m_bench->press(key);
        m_bench->release(key);
        QVERIFY(report.becomes(expected));
    }

    void keysKeepTheirOrderAndReleasesAreNotReported_data() { addWorlds(); }
    void keysKeepTheirOrderAndReleasesAreNotReported() {
        Report report;
        QVERIFY(bench().tap().install(report.handlers()));
        for (const char* key : {"AC01", "LFSH", "AB10"}) m_bench->press(key);
        for (const char* key : {"AC01", "AB10", "LFSH"}) m_bench->release(key);
        m_bench->press("AE01");
        QVERIFY(report.becomes("a/0 56+20002 //44 56+0 1/18"));
    }

    void nothingIsReportedAfterRemove_data() { addWorlds(); }
    void nothingIsReportedAfterRemove() {
        Report report;
        QVERIFY(bench().tap().install(report.handlers()));
        m_bench->press("AC01"); // may be on its way when the tap is removed
        m_bench->tap().remove();
        const QStringList before = report.words;
        m_bench->press("AC02");
        QTest::qWait(50);
        QCOMPARE(report.words, before);
        Report second;
        QVERIFY(m_bench->tap().install(second.handlers()));
        m_bench->press("AC03");
        QVERIFY(second.becomes("d/2"));
    }

    void theTapMayBeRemovedByItsOwnHandler_data() { addWorlds(); }
    void theTapMayBeRemovedByItsOwnHandler() {
        int presses = 0;
        EventTap& tap = bench().tap();
        QVERIFY(tap.install({[&](const KeyPress&) {
                                 ++presses;
                                 tap.remove();
                                 return true;
                             },
                             {},
                             {}}));
        m_bench->press("AC01");
        m_bench->press("AC02");
        QTRY_COMPARE(presses, 1);
        QTest::qWait(50);
        QCOMPARE(presses, 1);
    }

    void namedKeysHaveTheirVirtualKeyCodes_data() {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* name, const char* key, const char* expected) {
            QTest::newRow(name) << QByteArray(key) << QString(expected);
        };
        row("Escape", "ESC", "/53");
        row("Return", "RTRN", "/36");
        row("backspace", "BKSP", "/51");
        row("space", "SPCE", " /49");
        row("F5", "FK05", "/96");
        row("a key of no number", "SCLK", "/-1");
    }
    void namedKeysHaveTheirVirtualKeyCodes() {
        QFETCH(QByteArray, key);
        QFETCH(QString, expected);
        RealBench real;
        Report report;
        QVERIFY(real.tap().install(report.handlers()));
        real.press(key);
        QVERIFY(report.becomes(expected));
    }

    void charactersAreTheLayoutsOrItsLatinOnes_data() {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* name, const char* layout, const char* key,
                            const char* expected) {
            QTest::newRow(name) << QString(layout) << QByteArray(key) << QString(expected);
        };
        row("German Y is at Z", "de", "AB01", "y/6");
        row("German umlaut", "de", "AC11", "ä/39");
        row("French A is at Q", "fr", "AD01", "a/12");
        row("Russian beside English", "us,ru -option grp:shifts_toggle", "AD01", "q/12");
        row("Russian alone", "ru", "AD01", "q/12");
        row("Caps Lock is Control", "us -option ctrl:nocaps", "CAPS", "57+40000");
        row("Control and Alt swapped", "us -option ctrl:swap_lalt_lctl", "LCTL", "59+40001");
        row("AltGr", "de", "RALT", "61+80040");
    }
    void charactersAreTheLayoutsOrItsLatinOnes() {
        QFETCH(QString, layout);
        QFETCH(QByteArray, key);
        QFETCH(QString, expected);
        RealBench real;
        Report report;
        QVERIFY(real.tap().install(report.handlers()));
        EventTapContractTest::layout(layout.split(QLatin1Char(' '))); // while the tap is watching
        real.press(key);
        QVERIFY(report.becomes(expected));
        real.release(key);
        EventTapContractTest::layout({"us", "-option", QString()});
    }

    void keysOfOtherProgramsCountAndOurOwnDoNot() {
        const auto synthetic = std::make_shared<SyntheticKeys>();
        X11EventTap tap(synthetic);
        Report report;
        QVERIFY(tap.install(report.handlers()));
        PhysicalKeyboard keyboard;
        synthetic->expect(38, true);
        synthetic->expect(38, false);
        // The first stands for one that we posted.
        for (const char* key : {"AC01", "AC01", "LFSH"}) {
            keyboard.pressFromProgram(key, true);
            keyboard.pressFromProgram(key, false);
        }
        QVERIFY(report.becomes("a/0 56+20002 56+0"));
    }

    void aKeyboardUnpluggedWithAKeyDownLetsItGo() {
        RealBench real;
        Report report;
        QVERIFY(real.tap().install(report.handlers()));
        real.press("LFSH");
        QVERIFY(report.becomes("56+20002"));
        real.keyboard.setPlugged(false);
        QVERIFY(report.becomes("56+20002 56+0"));
        real.keyboard.setPlugged(true);
        QTest::qWait(100);
        report.words.clear();
        real.press("RTSH");
        QVERIFY(report.becomes("60+20004"));
    }

    void aSwallowedKeyReachesNobodyAndEverythingElsePasses() {
        RealBench real;
        KeyWindow window;
        Report report;
        QVERIFY(real.tap().install(report.handlers()));
        report.swallows = true;
        real.press("AC01");
        real.release("AC01");
        QVERIFY(report.becomes("a/0")); // not filtering yet: no effect
        real.tap().setFiltering(true);
        QTest::qWait(50);
        real.keyboard.tap("AC02");
        real.press("LFSH");
        QVERIFY(report.becomes("a/0 s/1 56+20002"));
        QTRY_VERIFY(real.keyboard.isDown("LFSH")); // modifiers pass
        report.swallows = false;
        real.keyboard.tap("AC03");
        real.release("LFSH");
        QTRY_COMPARE(report.words.last(), "56+0");
        QTRY_VERIFY(!real.keyboard.isDown("LFSH"));
        QTRY_COMPARE((window.takeEvents(), window.text()), "aD");
        QCOMPARE(window.focusLosses, 0);
    }

    void keysHeldAcrossTheBeginningAndEndOfFilteringDoNotStick() {
        RealBench real;
        KeyWindow window;
        Report report;
        report.swallows = true;
        QVERIFY(real.tap().install(report.handlers()));
        real.press("AC01");
        real.press("LCTL");
        QVERIFY(report.becomes("a/0 59+40001"));
        real.tap().setFiltering(true);
        QTest::qWait(50);
        real.release("AC01");
        real.release("LCTL");
        QTRY_VERIFY(!real.keyboard.isDown("AC01") && !real.keyboard.isDown("LCTL"));
        real.press("RALT"); // passes, and is held beyond the end
        real.press("AC02"); // swallowed, and held beyond the end
        QTRY_COMPARE(report.words.last(), "s/1");
        real.tap().setFiltering(false);
        window.takeEvents();
        window.clear();
        QTest::qWait(900); // it would repeat by now
        QVERIFY(real.keyboard.isDown("RALT"));
        real.release("AC02");
        real.release("RALT");
        QTRY_VERIFY(!real.keyboard.isDown("RALT"));
        QTest::qWait(50);
        real.keyboard.tap("AC03");
        QTRY_COMPARE((window.takeEvents(), window.text()), "d");
    }

    void aKeyThatIsNeverReleasedKeepsNoKeyboard() {
        RealBench real;
        KeyWindow window;
        Report report;
        report.swallows = true;
        QVERIFY(real.tap().install(report.handlers()));
        real.tap().setFiltering(true);
        QTest::qWait(50);
        real.press("AC02");
        QVERIFY(report.becomes("s/1"));
        real.tap().setFiltering(false);
        QTRY_VERIFY_WITH_TIMEOUT((real.keyboard.tap("AC03"), window.takeEvents(),
                                  window.text().contains(QLatin1Char('d'))),
                                 10000);
        real.release("AC02");
    }

    // The bookkeeping of what is held must not take what we post in a held key's place for a key of
    // its own, whatever makes it look again.
    void aHeldKeyThatWasPassedOnIsHeldOnce_data() {
        QTest::addColumn<bool>("stalls");
        QTest::newRow("the main thread stalls") << true;
        QTest::newRow("a keyboard is plugged in") << false;
    }
    void aHeldKeyThatWasPassedOnIsHeldOnce() {
        QFETCH(bool, stalls);
        RealBench real;
        Report report;
        QVERIFY(real.tap().install(report.handlers()));
        real.tap().setFiltering(true);
        QTest::qWait(50);
        real.press("LFSH");
        QVERIFY(report.becomes("56+20002"));
        QTRY_VERIFY(real.keyboard.isDown("LFSH"));
        if (stalls) {
            real.press("AC01");
            QTest::qSleep(400); // no answer
            real.release("AC01");
            QTRY_VERIFY(report.words.contains("disabled"));
            real.tap().enable();
        } else {
            QCOMPARE(QProcess::execute("xinput", {"create-master", "another"}), 0);
        }
        QTest::qWait(100);
        real.release("LFSH");
        QTRY_COMPARE(report.words.last(), "56+0");
        QTRY_VERIFY(!real.keyboard.isDown("LFSH"));
        report.words.clear();
        real.press("LFSH");
        real.release("LFSH");
        QVERIFY(report.becomes("56+20002 56+0"));
        if (!stalls) QProcess::execute("xinput", {"remove-master", "another pointer"});
    }

    void eventsTellWhenTheKeysMoved() {
        RealBench real;
        QList<qint64> times;
        QVERIFY(
            real.tap().install({[&](const KeyPress& press) {
                                    times.append(press.time);
                                    return false;
                                },
                                [&](const ModifierChange& change) { times.append(change.time); },
                                {}}));
        real.keyboard.tap("LFSH");
        QTest::qSleep(120);
        real.keyboard.tap("AC01");
        QTest::qSleep(120); // all are read together, late
        QTRY_COMPARE(times.size(), 3);
        QVERIFY(times[0] <= times[1] && times[1] - times[0] < 100);
        QVERIFY(times[2] - times[1] >= 100);
    }

    void aMainThreadThatDoesNotAnswerLosesTheFilterAndNoKey() {
        RealBench real;
        KeyWindow window;
        QStringList words;
        bool stalls = true;
        QVERIFY(real.tap().install({[&](const KeyPress& press) {
                                        words.append(press.characters);
                                        if (std::exchange(stalls, false)) QTest::qSleep(400);
                                        return true;
                                    },
                                    {},
                                    [&] { words.append("disabled"); }}));
        real.tap().setFiltering(true);
        QTest::qWait(50);
        real.keyboard.tap("AC01");
        real.keyboard.tap("AC02");
        QTRY_COMPARE(words.join(QLatin1Char(' ')), "a disabled s");
        QTRY_COMPARE((window.takeEvents(), window.text()), "as");
        real.tap().enable();
        QTest::qWait(50);
        real.keyboard.tap("AC03");
        QTRY_COMPARE(words.last(), "d");
        QTest::qWait(50);
        window.takeEvents();
        QCOMPARE(window.text(), "as");
    }
};

QTEST_GUILESS_MAIN(EventTapContractTest)
#include "EventTapContractTest.moc"
