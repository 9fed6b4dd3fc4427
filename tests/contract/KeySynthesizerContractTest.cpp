#include "platform/linux/x11/keys/X11EventTap.h"
#include "platform/linux/x11/typing/X11KeySynthesizer.h"
#include "tests/harness/Rows.h"
#include "tests/harness/desktop/KeyWindow.h"
#include "tests/harness/desktop/PhysicalKeyboard.h"

#include <QProcess>
#include <QTest>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

using namespace murlo;

namespace {

constexpr KeyChord paste{9, ModifierFlag::control};

const QString mixedText = QString::fromUtf8(
    "Hello, World! (C++) #42\tGröße, naïve e\xCC\x81\n"
    "Привет, мир. مرحبا بالعالم؟ 你好，世界。今天天气很好，我们去公园散步吧。\n"
    "👩‍👩‍👧‍👦 🇩🇪 ❤️ \"quotes\" \\ {a|b} — “€” ~^`");

/// A synthesizer, the user's keyboard, and the program that gets the keys of both.
struct Bench {
    explicit Bench(const QString& program = "quick")
        : window(program == "old" ? KeyWindow::Pings::notTaken : KeyWindow::Pings::answered)
        , eventsPerTurn(program == "slow" ? 3 : 1000) {}

    void turn() {
        window.takeEvents(eventsPerTurn);
        QTest::qWait(1);
    }
    /// Types a text as an inserter does: the next piece once the last has left.
    void type(const QString& text) {
        for (qsizetype at = 0; at < text.size();) {
            qsizetype end = std::min(at + 16, text.size());
            if (end < text.size() && text.at(end).isLowSurrogate()) --end;
            bool sent = false;
            keys.postText(text.mid(at, end - at), [&](const KeyResult& result) {
                QVERIFY(result);
                sent = true;
            });
            QVERIFY(!sent); // never before the call returns
            for (int turns = 0; !sent && turns < 5000; ++turns) turn();
            QVERIFY(sent);
            at = end;
        }
        keys.endText();
    }
    /// Whether the program gets this, shortcuts as "<Ctrl+v>".
    [[nodiscard]] bool arrives(const QString& expected) {
        for (int turns = 0; window.text() != expected && turns < 1500; ++turns) turn();
        if (window.text() != expected) qWarning("arrived: %s", qPrintable(window.text()));
        return window.text() == expected;
    }
    /// The key that the user has held all the while is still down, and then not.
    void letGo(const QByteArray& held) {
        QCOMPARE(keyboard.isDown(held), !held.isEmpty());
        keyboard.release(held);
        QTRY_VERIFY(!keyboard.isDown(held));
        window.clear();
    }

    KeyWindow window;
    int eventsPerTurn;
    PhysicalKeyboard keyboard;
    std::shared_ptr<SyntheticKeys> synthetic = std::make_shared<SyntheticKeys>();
    X11KeySynthesizer keys{synthetic};
};

QByteArray keymap() {
    QProcess dump;
    dump.start("xkbcomp", {qgetenv("DISPLAY"), "-"});
    dump.waitForFinished();
    return dump.readAllStandardOutput();
}

} // namespace

class KeySynthesizerContractTest : public QObject {
    Q_OBJECT

    static void setLayout(const QString& layout) {
        QCOMPARE(QProcess::execute("setxkbmap", layout.split(' ')), 0);
    }

private Q_SLOTS:
    void cleanup() { setLayout("us"); }

    void nothingOnTheKeyboardChangesWhatIsTyped_data() {
        const Rows<QString, QByteArray, bool, QString> row; // layout, held, Caps Lock, program
        row("Dvorak", "us -variant dvorak", "", false, "quick");
        row("German, Shift", "de", "LFSH", false, "quick");
        row("Russian, Caps Lock", "us,ru", "", true, "quick");
        row("Russian alone, Control", "ru", "RCTL", false, "quick");
        row("AltGr, Caps Lock", "de", "RALT", true, "slow");
        row("no pings, Super", "us", "LWIN", false, "old");
    }
    void nothingOnTheKeyboardChangesWhatIsTyped() {
        const auto [layout, held, capsLock, program] = fetch<QString, QByteArray, bool, QString>();
        setLayout(layout);
        const QByteArray before = keymap();
        Bench bench(program);
        QVERIFY(bench.keys.canPostKeys());
        bench.type(QString());
        if (capsLock) bench.keyboard.tap("CAPS");
        bench.keyboard.press(held);
        bench.type(mixedText);
        QVERIFY(bench.arrives(mixedText));
        QTRY_COMPARE((bench.turn(), keymap()), before); // what was borrowed is given back
        bench.letGo(held);
        bench.keyboard.tap("AC01");
        QVERIFY(bench.arrives(layout == "ru" ? "ф" : capsLock ? "A" : "a"));
        if (capsLock) bench.keyboard.tap("CAPS");
    }

    void whatACrashLeftOnTheKeyboardIsPutRight() {
        const QByteArray before = keymap();
        if (const pid_t child = fork(); child == 0) {
            X11KeySynthesizer dying(std::make_shared<SyntheticKeys>());
            dying.postText("你好", {});
            raise(SIGKILL);
        } else {
            waitpid(child, nullptr, 0);
        }
        QVERIFY(keymap() != before); // or there is nothing to put right
        Bench bench;
        QTRY_COMPARE(keymap(), before);
        bench.type(mixedText);
        QVERIFY(bench.arrives(mixedText));
        QTRY_COMPARE((bench.turn(), keymap()), before);
    }

    void aPasteIsTheLettersAndTheTargets_data() {
        const Rows<QString, QByteArray, KeyChord, QString> row; // layout, held, chord, result
        const KeyChord terminals{9, ModifierFlag::control | ModifierFlag::shift};
        const KeyChord insert{114, ModifierFlag::shift};
        row("terminal", "us", "", terminals, "<Ctrl+Shift+V>");
        row("Shift+Insert", "ru", "RCTL", insert, "<Shift+Insert>");
        row("Shift held", "us", "LFSH", paste, "<Ctrl+v>");
        row("Super held", "de", "RWIN", paste, "<Ctrl+v>");
        row("Dvorak", "us -variant dvorak", "", paste, "<Ctrl+v>");
        row("no Latin layout", "ru", "", paste, "<Ctrl+v>");
    }
    void aPasteIsTheLettersAndTheTargets() {
        const auto [layout, held, chord, expected] =
            fetch<QString, QByteArray, KeyChord, QString>();
        setLayout(layout);
        Bench bench;
        bench.keyboard.press(held);
        QVERIFY(bench.keys.postChord(chord));
        QVERIFY(bench.arrives(expected));
        bench.letGo(held);
        // Another program's Shift still works: nothing of ours is left down on the common device.
        QTest::qWait(50);
        bench.keyboard.pressFromProgram("LFSH", true);
        bench.keyboard.tap("AE01");
        bench.keyboard.pressFromProgram("LFSH", false);
        QVERIFY(bench.arrives("!"));
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

    void theTapReportsWhatOthersTypeAlone() {
        Bench bench;
        X11EventTap tap(bench.synthetic);
        QStringList reported;
        const auto keyDown = [&](const KeyPress& press) {
            reported.append(press.characters);
            return false;
        };
        const auto flagsChanged = [&](const ModifierChange& change) {
            reported.append(QString::number(change.keyCode));
        };
        QVERIFY(tap.install({keyDown, flagsChanged, {}}));
        bench.keyboard.press("LFSH");
        QTRY_COMPARE(reported, QStringList{"56"});
        QVERIFY(bench.keys.postChord(paste));
        bench.type("Bananas.");
        QVERIFY(bench.arrives("<Ctrl+v>Bananas."));
        bench.keyboard.release("LFSH");
        for (const char* key : {"AC01", "RTSH"}) { // from the same device as ours
            bench.keyboard.pressFromProgram(key, true);
            bench.keyboard.pressFromProgram(key, false);
        }
        QTRY_COMPARE(reported.join(' '), "56 56 a 60 60");
    }
};

QTEST_GUILESS_MAIN(KeySynthesizerContractTest)
#include "KeySynthesizerContractTest.moc"
