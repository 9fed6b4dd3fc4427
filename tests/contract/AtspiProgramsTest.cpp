#include "hints/InputScanner.h"
#include "platform/linux/atspi/AtspiTree.h"
#include "tests/contract/RealAccessibility.h"
#include "tests/fakes/FakeAccessibility.h"
#include "tests/harness/Files.h"
#include "tests/harness/Rows.h"
#include "tests/harness/desktop/PhysicalKeyboard.h"

#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusReply>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <signal.h>

using namespace murlo;

namespace {

/// A program of somebody else's; it ends with this object.
class Program {
public:
    explicit Program(const QString& command, bool accessible = true) {
        auto environment = QProcessEnvironment::systemEnvironment();
        if (!accessible) environment.insert("NO_AT_BRIDGE", "1");
        m_process.setProcessEnvironment(environment);
        m_process.setStandardOutputFile(QProcess::nullDevice());
        m_process.setStandardErrorFile(QProcess::nullDevice());
        m_process.startCommand(command);
        m_process.waitForStarted();
    }
    ~Program() {
        m_process.terminate();
        if (!m_process.waitForFinished(3000)) m_process.kill();
        m_process.waitForFinished();
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    [[nodiscard]] qint64 pid() const { return m_process.processId(); }
    [[nodiscard]] bool hasEnded() const { return m_process.state() == QProcess::NotRunning; }
    /// Kilobytes that it holds.
    [[nodiscard]] qint64 memory() const {
        const QByteArray pages = contentOf(QStringLiteral("/proc/%1/statm").arg(pid()));
        return pages.split(' ').value(1).toLongLong() * 4;
    }
    [[nodiscard]] bool isActive() const {
        return QTest::qWaitFor([this] { return ownsActiveWindow(pid()); }, 20000);
    }

private:
    QProcess m_process;
};

/// A browser that shows a page, which it keeps in `folder`.
QString chromium(const QTemporaryDir& folder, const QByteArray& html) {
    const QString page = folder.filePath("page.html");
    putFile(page, "<!doctype html><title>Page</title>" + html);
    return QString("chromium --no-sandbox --test-type --force-renderer-accessibility "
                   "--no-first-run --disable-gpu --disable-dev-shm-usage --password-store=basic "
                   "--user-data-dir=%1 file://%2")
        .arg(folder.filePath("profile"), page);
}

/// What letters are put on. It looks for no focus by itself, so that nothing but a scan asks.
struct Letters {
    QtScheduler scheduler;
    X11Applications applications{scheduler};
    AtspiBus bus{scheduler};
    FakeAccessibility focus{scheduler};
    AtspiTree tree{bus, focus, [this] { return applications.windowsOnScreen(); }};
    QList<ScreenInfo> screens{{{0, 0, 1280, 900}, {}, {0, 0, 1280, 900}}};
    InputScanner scanner{tree, applications, scheduler, [this] { return screens; }, 1};

    QList<InputTarget> scan() {
        (void)QTest::qWaitFor([this] { return bus.isOpen(); });
        std::optional<QList<InputTarget>> found;
        scanner.scan([&found](const auto& boxes) { found = boxes; });
        (void)QTest::qWaitFor([&found] { return found.has_value(); }, 10000);
        return found.value_or(QList<InputTarget>());
    }
};

/// "role/subrole", with "*" when text can be put in.
QString judgement(const ElementRef& element) {
    if (!element) return {};
    const ElementFacts facts = element->facts();
    QString words = nameOf(facts.role);
    if (facts.subrole != ElementSubrole::none) words += '/' + nameOf(facts.subrole);
    return facts.editable ? words + '*' : words;
}

void setEnabled(bool enabled) {
    QDBusInterface status("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Status");
    QVERIFY(status.setProperty("IsEnabled", enabled));
}

} // namespace

class AtspiProgramsTest : public QObject {
    Q_OBJECT

    PhysicalKeyboard m_keyboard;

private Q_SLOTS:
    void focusReadsAsWhatItIs_data() {
        const Rows<QString, int, QString> row; // a command, tabs to press, what has the focus
        const QString textInfo = "zenity --text-info --filename=/etc/passwd";
        row("entry, GTK 3", "zenity --entry", 0, "AXTextField*");
        row("password, GTK 3", "zenity --password", 0, "AXTextField/AXSecureTextField*");
        row("editable text view, GTK 3", textInfo + " --editable", 0, "AXTextArea*");
        row("read-only text view, GTK 3", textInfo, 0, "AXStaticText");
        row("check box, GTK 3", textInfo + " --checkbox=Read", 1, "AXCheckBox");
        row("button, GTK 3", "zenity --question --text=Really?", 0, "AXButton");
        row("list, GTK 3", "zenity --list --column=A one two", 0, "AXList");
        row("slider, GTK 3", "zenity --scale", 0, "AXSlider");
        row("editor, GTK 3", "mousepad --disable-server", 0, "AXTextArea*");
        row("terminal, VTE", "xfce4-terminal --disable-server", 0, "AXTextArea/AXTerminal*");
        row("editor, Qt", "featherpad --standalone", 0, "AXTextArea*");
        row("password, GTK 4", "gtk4-demo --run=password_entry", 0,
            "AXTextField/AXSecureTextField*");
    }
    void focusReadsAsWhatItIs() {
        const auto [command, tabs, expected] = fetch<QString, int, QString>();
        RealAccessibility real;
        const Program program(command);
        QVERIFY(program.isActive());
        if (tabs > 0) QTRY_VERIFY(real.focusOf(program.pid()));
        for (int i = 0; i < tabs; ++i) m_keyboard.tap("TAB");
        QTRY_COMPARE_WITH_TIMEOUT(judgement(real.focusOf(program.pid())), expected, 10000);

        // Who comes later finds the same, without an event.
        const RealAccessibility late;
        QTRY_COMPARE(judgement(late.focusOf(program.pid())), expected);
    }

    void theTextInAComboBoxIsFoundBehindIt() {
        RealAccessibility real;
        const Program editor("featherpad --standalone");
        QVERIFY(editor.isActive());
        QTRY_VERIFY(real.focusOf(editor.pid()));
        m_keyboard.press("LCTL");
        m_keyboard.tap("AC04"); // f
        m_keyboard.release("LCTL");
        QTRY_COMPARE(judgement(real.focusOf(editor.pid())), "AXPopUpButton");
        int corrections = 0;
        real.adapter.recheckFocus([&] { ++corrections; });
        QTRY_COMPARE(corrections, 1);
        QCOMPARE(judgement(real.focusOf(editor.pid())), "AXTextField*");
    }

    void aWebPagesFieldsReadAsWhatTheyAre() {
        QTemporaryDir folder;
        RealAccessibility real;
        const Program browser(
            chromium(folder, "<input autofocus><textarea></textarea>"
                             "<div contenteditable>rich <b>text</b></div><input type=password>"
                             "<input type=search><input type=checkbox><input readonly value=x>"
                             "<select><option>x</select><a href='#'>link</a>"));
        QVERIFY(browser.isActive());
        bool first = true;
        for (const char* expected : {"AXTextField*", "AXTextArea*", "AXTextArea*",
                                     "AXTextField/AXSecureTextField*", "AXTextField/AXSearchField*",
                                     "AXCheckBox", "AXStaticText", "AXPopUpButton", "AXLink"}) {
            const auto before = real.adapter.focusedElement();
            if (!std::exchange(first, false)) {
                m_keyboard.tap("TAB");
                QTRY_VERIFY(real.focusOf(browser.pid()) &&
                            !real.adapter.focusedElement()->isSame(*before));
            }
            QTRY_COMPARE_WITH_TIMEOUT(judgement(real.focusOf(browser.pid())),
                                      QString::fromLatin1(expected), 20000);
        }
    }

    void aLongListIsNotBuiltForTheFocusOrTheLettersBesideIt() {
        constexpr int rows = 60000;
        const QString cells = QStringLiteral("x|").repeated(rows - 1) + QLatin1Char('x');
        const Program program("zenity --forms --add-entry=One --add-entry=Two --add-list=List "
                              "--width=400 --height=500 --list-values=" +
                              cells);
        QVERIFY(program.isActive());
        const qint64 before = program.memory();
        const RealAccessibility late; // has to look for the focus
        QTRY_COMPARE(judgement(late.focusOf(program.pid())), "AXTextField*");
        Letters letters;
        QCOMPARE(letters.scan().size(), 2);
        // A row that was asked for takes half a kilobyte.
        QVERIFY2(program.memory() - before < rows / 10, "kilobytes");
        m_keyboard.tap("ESC");
        QTRY_VERIFY(program.hasEnded()); // at once: it is not busy
    }

    void lettersOfAPage_data() {
        const Rows<QByteArray, int> row; // a page and the boxes; the address is one
        row("a vast table is not searched through",
            "<input autofocus><table>" + QByteArray("<tr><td>a").repeated(40'000), 2);
        row("none inside a button",
            "<label>Name <input size=30></label><button><span contenteditable "
            "style='display:block;width:200px;height:40px'>x</span></button><textarea></textarea>",
            3);
    }
    void lettersOfAPage() {
        const auto [html, boxes] = fetch<QByteArray, int>();
        QTemporaryDir folder;
        const Program browser(chromium(folder, html));
        QVERIFY(browser.isActive());
        {
            Letters early;
            QTRY_COMPARE_WITH_TIMEOUT(early.scan().size(), boxes, 30000); // the page is there
        }
        QCOMPARE(Letters().scan().size(), boxes);
    }

    void aProgramThatTellsNothingOfItselfHasNoFocus() {
        RealAccessibility real;
        const Program telling("zenity --entry");
        QTRY_VERIFY_WITH_TIMEOUT(real.focusOf(telling.pid()), 10000);
        {
            const Program silent("zenity --entry", false);
            QVERIFY(silent.isActive());
            QTRY_VERIFY(!real.adapter.focusedElement());

            // Also when the other program is stopped and cannot say that it lost the focus.
            real.applications.activate(telling.pid(), {});
            QTRY_VERIFY(real.focusOf(telling.pid()));
            ::kill(static_cast<pid_t>(telling.pid()), SIGSTOP);
            real.applications.activate(silent.pid(), {});
            QVERIFY(silent.isActive());
            QVERIFY(!real.adapter.focusedElement());
            ::kill(static_cast<pid_t>(telling.pid()), SIGCONT);
        }
        QTRY_VERIFY(real.focusOf(telling.pid()));
    }

    void trustFollowsTheDesktopsSwitch() {
        RealAccessibility real;
        QTRY_VERIFY(real.adapter.isTrusted());
        setEnabled(false);
        QTRY_VERIFY(!real.adapter.isTrusted());
        const RealAccessibility late;
        QTest::qWait(200);
        QVERIFY(!late.adapter.isTrusted());
        real.adapter.requestTrust();
        QTRY_VERIFY(real.adapter.isTrusted());
        QTRY_VERIFY(late.adapter.isTrusted());
    }

    void aRestartedBusIsFoundAgain() {
        RealAccessibility real;
        QTRY_VERIFY(real.adapter.isTrusted());
        // The bus daemon itself, in the desktop's own process namespace.
        const QDBusReply<QString> address =
            QDBusInterface("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus").call("GetAddress");
        QVERIFY(address.isValid());
        const auto connection = QStringLiteral("the bus itself");
        const QDBusReply<uint> daemon = QDBusConnection::connectToBus(address.value(), connection)
                                            .interface()
                                            ->servicePid("org.freedesktop.DBus");
        QDBusConnection::disconnectFromBus(connection);
        QVERIFY(daemon.isValid());
        QCOMPARE(::kill(static_cast<pid_t>(daemon.value()), SIGKILL), 0);

        QTRY_VERIFY(!real.adapter.isTrusted());
        // This desktop keeps no settings: the switch is off again.
        setEnabled(true);
        QTRY_VERIFY_WITH_TIMEOUT(real.adapter.isTrusted(), 60000);
        const Program program("zenity --entry");
        QTRY_VERIFY_WITH_TIMEOUT(real.focusOf(program.pid()), 10000);
    }
};

QTEST_GUILESS_MAIN(AtspiProgramsTest)
#include "AtspiProgramsTest.moc"
