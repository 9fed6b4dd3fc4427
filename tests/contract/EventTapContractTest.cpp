#include "platform/linux/x11/KeyPositions.h"
#include "platform/linux/x11/X11EventTap.h"
#include "tests/support/FakeEventTap.h"
#include "tests/support/desktop/KeyWindow.h"
#include "tests/support/desktop/PhysicalKeyboard.h"

#include <QProcess>
#include <QTest>

using namespace murlo;

namespace {

/// A tap with the keyboard that it watches. Keys go by their place's name.
class Bench {
public:
    virtual ~Bench() = default;
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
                [this] { words.append(QStringLiteral("disabled")); }};
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

    static void both() {
        QTest::addColumn<bool>("real");
        QTest::newRow("fake") << false;
        QTest::newRow("X11") << true;
    }
    Bench& bench() {
        const auto* real = static_cast<const bool*>(QTest::qData("real", qMetaTypeId<bool>()));
        if (*real)
            m_bench = std::make_unique<RealBench>();
        else
            m_bench = std::make_unique<FakeBench>();
        return *m_bench;
    }
    static void layout(const QStringList& arguments) {
        QCOMPARE(QProcess::execute(QStringLiteral("setxkbmap"), arguments), 0);
    }

private Q_SLOTS:
    void cleanup() { m_bench.reset(); }

    void modifiersComeWithTheirSideAndFamily_data() {
        QTest::addColumn<bool>("real");
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QString>("expected");
        const QList<std::pair<QByteArray, QString>> keys{
            {"LFSH", QStringLiteral("56+20002 56+0")},  {"RTSH", QStringLiteral("60+20004 60+0")},
            {"LCTL", QStringLiteral("59+40001 59+0")},  {"RCTL", QStringLiteral("62+42000 62+0")},
            {"LALT", QStringLiteral("58+80020 58+0")},  {"RALT", QStringLiteral("61+80040 61+0")},
            {"LWIN", QStringLiteral("55+100008 55+0")}, {"RWIN", QStringLiteral("54+100010 54+0")}};
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

    void keysKeepTheirOrderAndReleasesAreNotReported_data() { both(); }
    void keysKeepTheirOrderAndReleasesAreNotReported() {
        Report report;
        QVERIFY(bench().tap().install(report.handlers()));
        for (const char* key : {"AC01", "LFSH", "AB10"}) m_bench->press(key);
        for (const char* key : {"AC01", "AB10", "LFSH"}) m_bench->release(key);
        m_bench->press("AE01");
        QVERIFY(report.becomes(QStringLiteral("a/0 56+20002 //44 56+0 1/18")));
    }

    void nothingIsReportedAfterRemove_data() { both(); }
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
        QVERIFY(second.becomes(QStringLiteral("d/2")));
    }

    void theTapMayBeRemovedByItsOwnHandler_data() { both(); }
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
        QTest::newRow("Escape") << QByteArray("ESC") << QStringLiteral("/53");
        QTest::newRow("Return") << QByteArray("RTRN") << QStringLiteral("/36");
        QTest::newRow("backspace") << QByteArray("BKSP") << QStringLiteral("/51");
        QTest::newRow("space") << QByteArray("SPCE") << QStringLiteral(" /49");
        QTest::newRow("F5") << QByteArray("FK05") << QStringLiteral("/96");
        QTest::newRow("a key of no number") << QByteArray("SCLK") << QStringLiteral("/-1");
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
        QTest::addColumn<QStringList>("layout");
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QString>("expected");
        const auto list = [](const char* text) {
            return QString::fromUtf8(text).split(QLatin1Char(' '));
        };
        QTest::newRow("German Y is at Z")
            << list("de") << QByteArray("AB01") << QStringLiteral("y/6");
        QTest::newRow("German umlaut")
            << list("de") << QByteArray("AC11") << QStringLiteral("ä/39");
        QTest::newRow("French A is at Q")
            << list("fr") << QByteArray("AD01") << QStringLiteral("a/12");
        QTest::newRow("Russian beside English") << list("us,ru -option grp:shifts_toggle")
                                                << QByteArray("AD01") << QStringLiteral("q/12");
        QTest::newRow("Russian alone")
            << list("ru") << QByteArray("AD01") << QStringLiteral("q/12");
        QTest::newRow("Caps Lock is Control")
            << list("us -option ctrl:nocaps") << QByteArray("CAPS") << QStringLiteral("57+40000");
        QTest::newRow("Control and Alt swapped")
            << list("us -option ctrl:swap_lalt_lctl") << QByteArray("LCTL")
            << QStringLiteral("59+40001");
        QTest::newRow("AltGr") << list("de") << QByteArray("RALT") << QStringLiteral("61+80040");
    }
    void charactersAreTheLayoutsOrItsLatinOnes() {
        QFETCH(QStringList, layout);
        QFETCH(QByteArray, key);
        QFETCH(QString, expected);
        RealBench real;
        Report report;
        QVERIFY(real.tap().install(report.handlers()));
        EventTapContractTest::layout(layout); // while the tap is watching
        real.press(key);
        QVERIFY(report.becomes(expected));
        real.release(key);
        EventTapContractTest::layout({QStringLiteral("us"), QStringLiteral("-option"), QString()});
    }

    void keysOfOtherProgramsCountAndOurOwnDoNot() {
        const auto synthetic = std::make_shared<SyntheticKeys>();
        X11EventTap tap(synthetic);
        Report report;
        QVERIFY(tap.install(report.handlers()));
        PhysicalKeyboard keyboard;
        synthetic->expect(38, true);
        synthetic->expect(38, false);
        keyboard.pressFromProgram("AC01", true); // stands for one that we posted
        keyboard.pressFromProgram("AC01", false);
        keyboard.pressFromProgram("AC01", true);
        keyboard.pressFromProgram("AC01", false);
        keyboard.pressFromProgram("LFSH", true);
        keyboard.pressFromProgram("LFSH", false);
        QVERIFY(report.becomes(QStringLiteral("a/0 56+20002 56+0")));
    }

    void aKeyboardUnpluggedWithAKeyDownLetsItGo() {
        RealBench real;
        Report report;
        QVERIFY(real.tap().install(report.handlers()));
        real.press("LFSH");
        QVERIFY(report.becomes(QStringLiteral("56+20002")));
        real.keyboard.setPlugged(false);
        QVERIFY(report.becomes(QStringLiteral("56+20002 56+0")));
        real.keyboard.setPlugged(true);
        QTest::qWait(100);
        report.words.clear();
        real.press("RTSH");
        QVERIFY(report.becomes(QStringLiteral("60+20004")));
    }

    void aSwallowedKeyReachesNobodyAndEverythingElsePasses() {
        RealBench real;
        KeyWindow window;
        Report report;
        QVERIFY(real.tap().install(report.handlers()));
        report.swallows = true;
        real.press("AC01");
        real.release("AC01");
        QVERIFY(report.becomes(QStringLiteral("a/0"))); // not filtering yet: no effect
        real.tap().setFiltering(true);
        QTest::qWait(50);
        real.keyboard.tap("AC02");
        real.press("LFSH");
        QVERIFY(report.becomes(QStringLiteral("a/0 s/1 56+20002")));
        QTRY_VERIFY(real.keyboard.isDown("LFSH")); // modifiers pass
        report.swallows = false;
        real.keyboard.tap("AC03");
        real.release("LFSH");
        QTRY_COMPARE(report.words.last(), QStringLiteral("56+0"));
        QTRY_VERIFY(!real.keyboard.isDown("LFSH"));
        QTRY_COMPARE((window.takeEvents(), window.text()), QStringLiteral("aD"));
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
        QVERIFY(report.becomes(QStringLiteral("a/0 59+40001")));
        real.tap().setFiltering(true);
        QTest::qWait(50);
        real.release("AC01");
        real.release("LCTL");
        QTRY_VERIFY(!real.keyboard.isDown("AC01") && !real.keyboard.isDown("LCTL"));
        real.press("RALT"); // passes, and is held beyond the end
        real.press("AC02"); // swallowed, and held beyond the end
        QTRY_COMPARE(report.words.last(), QStringLiteral("s/1"));
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
        QTRY_COMPARE((window.takeEvents(), window.text()), QStringLiteral("d"));
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
                                    [&] { words.append(QStringLiteral("disabled")); }}));
        real.tap().setFiltering(true);
        QTest::qWait(50);
        real.keyboard.tap("AC01");
        real.keyboard.tap("AC02");
        QTRY_COMPARE(words.join(QLatin1Char(' ')), QStringLiteral("a disabled s"));
        QTRY_COMPARE((window.takeEvents(), window.text()), QStringLiteral("as"));
        real.tap().enable();
        QTest::qWait(50);
        real.keyboard.tap("AC03");
        QTRY_COMPARE(words.last(), QStringLiteral("d"));
        QTest::qWait(50);
        window.takeEvents();
        QCOMPARE(window.text(), QStringLiteral("as"));
    }
};

QTEST_GUILESS_MAIN(EventTapContractTest)
#include "EventTapContractTest.moc"
