#include "platform/linux/x11/keys/X11EventTap.h"
#include "platform/linux/x11/typing/X11KeySynthesizer.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakeKeySynthesizer.h"
#include "tests/fakes/VirtualScheduler.h"
#include "tests/harness/desktop/KeyWindow.h"
#include "tests/harness/desktop/PhysicalKeyboard.h"

#include <QProcess>
#include <QTest>

using namespace murlo;

namespace {

constexpr KeyChord paste{9, ModifierFlag::control};

/// A synthesizer with the program that its keys go to.
class Bench : public ContractWorld {
public:
    [[nodiscard]] virtual KeySynthesizer& keys() = 0;
    virtual void turn() = 0;
    /// What has arrived, shortcuts as "<Ctrl+v>".
    [[nodiscard]] virtual QString text() = 0;
};

class FakeBench : public Bench {
public:
    FakeBench() {
        m_keys.onChord = [this](const KeyChord&) { m_keys.chunks.append("<Ctrl+v>"); };
    }
    [[nodiscard]] KeySynthesizer& keys() override { return m_keys; }
    void turn() override { m_scheduler.runPending(); }
    [[nodiscard]] QString text() override { return m_keys.typed(); }

private:
    VirtualScheduler m_scheduler;
    FakeKeySynthesizer m_keys{m_scheduler};
};

class RealBench : public Bench {
public:
    explicit RealBench(KeyWindow::Pings pings = KeyWindow::Pings::answered)
        : window(pings) {}
    [[nodiscard]] KeySynthesizer& keys() override { return m_keys; }
    void turn() override {
        window.takeEvents(eventsPerTurn);
        QTest::qWait(1);
    }
    [[nodiscard]] QString text() override { return window.text(); }

    KeyWindow window;
    PhysicalKeyboard keyboard;
    int eventsPerTurn = 1000;
    std::shared_ptr<SyntheticKeys> synthetic = std::make_shared<SyntheticKeys>();

private:
    X11KeySynthesizer m_keys{synthetic};
};

/// Types a text as an inserter does: the next piece once the last has left.
void type(Bench& bench, const QString& text) {
    for (qsizetype at = 0; at < text.size();) {
        qsizetype end = std::min(at + 16, text.size());
        if (end < text.size() && text.at(end).isLowSurrogate()) --end;
        bool sent = false;
        bench.keys().postText(text.mid(at, end - at), [&](const KeyResult& result) {
            QVERIFY(result);
            sent = true;
        });
        QVERIFY(!sent); // never before the call returns
        for (int turns = 0; !sent && turns < 5000; ++turns) bench.turn();
        QVERIFY(sent);
        at = end;
    }
    bench.keys().endText();
}

bool arrives(Bench& bench, const QString& expected) {
    for (int turns = 0; bench.text() != expected && turns < 1500; ++turns) bench.turn();
    if (bench.text() != expected) qWarning("arrived: %s", qPrintable(bench.text()));
    return bench.text() == expected;
}

QByteArray keymap() {
    QProcess dump;
    dump.start("xkbcomp", {QString::fromLocal8Bit(qgetenv("DISPLAY")), "-"});
    dump.waitForFinished();
    return dump.readAllStandardOutput();
}

const QString mixedText = QString::fromUtf8(
    "Hello, World! (C++) #42\tGröße, naïve e\xCC\x81\n"
    "Привет, мир. مرحبا بالعالم؟ 你好，世界。今天天气很好，我们去公园散步吧。\n"
    "👩‍👩‍👧‍👦 🇩🇪 ❤️ \"quotes\" \\ {a|b} — “€” ~^`");

} // namespace

class KeySynthesizerContractTest : public QObject {
    Q_OBJECT

    static void layout(const QString& arguments) {
        QCOMPARE(QProcess::execute("setxkbmap", arguments.split(QLatin1Char(' '))), 0);
    }

private Q_SLOTS:
    void cleanup() { layout("us"); }

    void typedTextArrivesWhole_data() {
        QTest::addColumn<bool>("real");
        QTest::addColumn<QString>("text");
        for (const bool real : {false, true}) {
            const char* name = real ? "X11" : "fake";
            QTest::addRow("%s ASCII", name) << real << "The quick brown fox.";
            QTest::addRow("%s mixed", name) << real << mixedText;
            QTest::addRow("%s nothing", name) << real << QString();
        }
    }
    void typedTextArrivesWhole() {
        QFETCH(QString, text);
        const auto bench = makeWorldOfRow<Bench, FakeBench, RealBench>();
        QVERIFY(bench->keys().canPostKeys());
        type(*bench, text);
        QVERIFY(arrives(*bench, text));
    }

    void aPasteChordArrives_data() { addWorlds(); }
    void aPasteChordArrives() {
        const auto bench = makeWorldOfRow<Bench, FakeBench, RealBench>();
        QVERIFY(bench->keys().postChord(paste));
        QVERIFY(arrives(*bench, "<Ctrl+v>"));
    }

    void nothingOnTheKeyboardChangesWhatIsTyped_data() {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<QByteArray>("held");
        QTest::addColumn<bool>("capsLock");
        QTest::addColumn<bool>("pings");
        QTest::addColumn<int>("eventsPerTurn");
        QTest::newRow("German, Shift held") << "de" << QByteArray("LFSH") << false << true << 1000;
        QTest::newRow("Russian, Caps Lock") << "us,ru" << QByteArray() << true << true << 1000;
        QTest::newRow("Russian alone, Control held")
            << "ru" << QByteArray("RCTL") << false << true << 1000;
        QTest::newRow("slow program, AltGr held")
            << "de" << QByteArray("RALT") << true << true << 3;
        QTest::newRow("program without pings, Super held")
            << "us" << QByteArray("LWIN") << false << false << 1000;
    }
    void nothingOnTheKeyboardChangesWhatIsTyped() {
        QFETCH(QString, layout);
        QFETCH(QByteArray, held);
        QFETCH(bool, capsLock);
        QFETCH(bool, pings);
        QFETCH(int, eventsPerTurn);
        KeySynthesizerContractTest::layout(layout);
        const QByteArray before = keymap();
        {
            RealBench bench(pings ? KeyWindow::Pings::answered : KeyWindow::Pings::notTaken);
            bench.eventsPerTurn = eventsPerTurn;
            if (capsLock) bench.keyboard.tap("CAPS");
            bench.keyboard.press(held);
            type(bench, mixedText);
            QVERIFY(arrives(bench, mixedText));
            QTRY_COMPARE((bench.turn(), keymap()), before); // what was borrowed is given back
            QVERIFY(held.isEmpty() || bench.keyboard.isDown(held)); // and what was lifted
            bench.keyboard.release(held);
            QTRY_VERIFY(held.isEmpty() || !bench.keyboard.isDown(held));
            bench.window.clear();
            bench.keyboard.tap("AC01");
            if (layout != QLatin1String("ru"))
                QVERIFY(arrives(bench, capsLock ? QStringLiteral("A") : QStringLiteral("a")));
            if (capsLock) bench.keyboard.tap("CAPS");
        }
    }

    void aPasteIsTheLettersAndTheTargets_data() {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<QByteArray>("held");
        QTest::addColumn<KeyChord>("chord");
        QTest::addColumn<QString>("expected");
        const KeyChord terminals{9, ModifierFlag::control | ModifierFlag::shift};
        const KeyChord insert{114, ModifierFlag::shift};
        QTest::newRow("terminal") << "us" << QByteArray() << terminals << "<Ctrl+Shift+V>";
        QTest::newRow("Shift+Insert") << "ru" << QByteArray("RCTL") << insert << "<Shift+Insert>";
        QTest::newRow("Shift held") << "us" << QByteArray("LFSH") << paste << "<Ctrl+v>";
        QTest::newRow("Super held") << "de" << QByteArray("RWIN") << paste << "<Ctrl+v>";
        QTest::newRow("Dvorak") << "us -variant dvorak" << QByteArray() << paste << "<Ctrl+v>";
        QTest::newRow("no Latin layout") << "ru" << QByteArray() << paste << "<Ctrl+v>";
    }
    void aPasteIsTheLettersAndTheTargets() {
        QFETCH(QString, layout);
        QFETCH(QByteArray, held);
        QFETCH(KeyChord, chord);
        QFETCH(QString, expected);
        KeySynthesizerContractTest::layout(layout);
        RealBench bench;
        bench.keyboard.press(held);
        QVERIFY(bench.keys().postChord(chord));
        QVERIFY(arrives(bench, expected));
        QVERIFY(held.isEmpty() || bench.keyboard.isDown(held));
        bench.keyboard.release(held);
        QTRY_VERIFY(held.isEmpty() || !bench.keyboard.isDown(held));
        // Another program's Shift still works: nothing of ours is left down on the common device.
        bench.window.clear();
        QTest::qWait(50);
        bench.keyboard.pressFromProgram("LFSH", true);
        bench.keyboard.tap("AE01");
        bench.keyboard.pressFromProgram("LFSH", false);
        QVERIFY(arrives(bench, "!"));
    }

    void aDisplayThatRefusesUsIsToldOf() {
        const QByteArray display = qgetenv("DISPLAY");
        qputenv("DISPLAY", ":99999");
        X11KeySynthesizer keys(std::make_shared<SyntheticKeys>());
        qputenv("DISPLAY", display);
        QVERIFY(!keys.canPostKeys());
        QCOMPARE(keys.postChord(paste).error(), KeyFailure::noAccess);
        std::optional<KeyResult> typed;
        keys.postText("text", [&](const KeyResult& result) { typed = result; });
        QTRY_VERIFY(typed && !*typed);
    }

    void theTapDoesNotReportWhatIsTyped() {
        RealBench bench;
        X11EventTap tap(bench.synthetic);
        QStringList reported;
        QVERIFY(tap.install({[&](const KeyPress& press) {
                                 reported.append(press.characters);
                                 return false;
                             },
                             [&](const ModifierChange& change) {
                                 reported.append(QString::number(change.keyCode));
                             },
                             {}}));
        bench.keyboard.press("LFSH");
        QTRY_COMPARE(reported, QStringList{"56"});
        QVERIFY(bench.keys().postChord(paste));
        type(bench, "Ein Text.");
        QVERIFY(arrives(bench, "<Ctrl+v>Ein Text."));
        bench.keyboard.release("LFSH");
        bench.keyboard.tap("AC01");
        QTRY_COMPARE(reported.join(QLatin1Char(' ')), "56 56 a");
    }
};

QTEST_GUILESS_MAIN(KeySynthesizerContractTest)
#include "KeySynthesizerContractTest.moc"
