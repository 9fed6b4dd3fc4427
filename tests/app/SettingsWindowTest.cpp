#include "windows/SettingsWindow.h"
#include "tests/harness/Rows.h"

#include <QApplication>
#include <QPushButton>

using namespace murlo;

namespace {

/// Whoever stands behind the window: the menu as it would be, and what was asked of it.
struct Program {
    MenuInput input;
    AccountFacts account;
    bool live = true;
    QStringList asked;
    SettingsWindowActions actions{
        [this] { return menuEntries(input); },
        [this](const MenuEntry& entry) {
            asked << (entry.command == MenuCommand::copyHistory ? input.history.at(entry.index)
                                                                : entry.title);
        },
        [this] { return input.history; },
        [this] { return live; },
        [this] { asked << "log"; },
        [this] { asked << "look"; },
        {[this] { return presentAccount(account); }, [this] { asked << "account"; },
         [this](bool on) { asked << (on ? "enhance" : "plain"); }}};
};

} // namespace

class SettingsWindowTest : public QObject {
    Q_OBJECT

    /// All the texts that the window shows.
    static QString shown(const QWidget& window) {
        QStringList texts;
        for (const auto* label : window.findChildren<QLabel*>())
            if (label->isVisibleTo(&window)) texts << label->text();
        return texts.join('\n');
    }
    static QPushButton* button(const QWidget& window, const QString& title) {
        for (auto* found : window.findChildren<QPushButton*>())
            if (found->text() == title) return found;
        return nullptr;
    }

private Q_SLOTS:
    void everyCommandGoesThroughTheMenu() {
        Program program;
        program.input.history = {"newest", "oldest"};
        SettingsWindow window(program.actions);
        window.show();
        QVERIFY(program.asked.contains("look")); // what changed while it was closed
        QCoreApplication::processEvents();       // it becomes the active one, and looks again
        program.asked.clear();
        auto* list = window.findChild<QListWidget*>();
        QVERIFY(!button(window, "Copy")->isEnabled());
        list->setCurrentRow(1);
        for (const char* title :
             {"Start Dictation (double-tap Left ⇧)", "Restart", "Copy", "Open Log", "Quit Murlo"}) {
            QVERIFY2(button(window, title), title);
            button(window, title)->click();
        }
        QCOMPARE(program.asked, QStringList({"Start Dictation  (double-tap Left ⇧)",
                                             "Engine: stopped", "oldest", "log", "Quit Murlo"}));
        program.asked.clear();
        list->setFocus();
        QTest::keyClick(list, Qt::Key_Return);
        QCOMPARE(program.asked, QStringList{"oldest"});
    }

    void theAccountTellsWhereItIs_data() {
        // Texts; the button's, unless it cannot be pressed.
        const Rows<QStringList, QString, AccountFacts> row;
        const Message trouble = Word::revokedElsewhere;
        row("a stranger's", {"Sign in to get started", "The account stays on this computer."},
            "Continue", {});
        row("a team's", {"The account is on murlo.example.com."}, "Continue with Example",
            {.provider = "Example", .remoteHost = "murlo.example.com"});
        row("signing in", {"Sign in to get started"}, "", {.signingIn = true});
        row("signed in", {"Signed in as me@localhost", "The account stays on this computer."},
            "Log Out", {.signedIn = true, .email = "me@localhost", .trouble = trouble});
        row("signed in, nobody knows as whom", {"Signed in"}, "Log Out", {.signedIn = true});
        row("signed out", {"You've been signed out because you signed in on another computer."},
            "Continue", {.trouble = trouble});
    }
    void theAccountTellsWhereItIs() {
        const auto [texts, buttonText, facts] = fetch<QStringList, QString, AccountFacts>();
        Program program;
        program.account = facts;
        SettingsWindow window(program.actions);
        window.show();
        for (const QString& text : texts)
            QVERIFY2(shown(window).contains(text), qPrintable(shown(window)));
        program.asked.clear();
        auto* pressed = button(window, buttonText.isEmpty() ? "Continue" : buttonText);
        QVERIFY(pressed);
        pressed->click();
        QCOMPARE(program.asked.contains("account"), !buttonText.isEmpty());
        auto* enhance = window.findChild<QCheckBox*>();
        QCOMPARE(enhance->isVisibleTo(&window), facts.signedIn);
        enhance->click();
        QVERIFY(program.asked.contains("enhance"));
    }

    void whatChangesOutsideShows() {
        Program program;
        SettingsWindowController controller(program.actions);
        controller.refresh(); // not open: nothing to do
        controller.showSettings();
        controller.showSettings(); // the same one
        QList<QWidget*> windows;
        for (QWidget* top : QApplication::topLevelWidgets())
            if (qobject_cast<SettingsWindow*>(top)) windows << top;
        QCOMPARE(windows.size(), 1);
        auto* list = windows[0]->findChild<QListWidget*>();
        QVERIFY(shown(*windows[0]).contains("What you dictate appears here."));
        program.input.history = {"said"};
        program.input.engine = {EngineState::ready, {}};
        program.input.dictation = DictationState::listening;
        program.live = false;
        controller.refresh();
        QVERIFY(shown(*windows[0]).contains("The shortcut is off"));
        QVERIFY(shown(*windows[0]).contains("Engine: ready"));
        QVERIFY(!shown(*windows[0]).contains("What you dictate appears here."));
        QVERIFY(button(*windows[0], "Stop Dictation"));
        list->setCurrentRow(0);
        controller.refresh(); // who is choosing is not disturbed
        QCOMPARE(list->currentRow(), 0);
        const QPointer<QWidget> closed = windows[0];
        windows[0]->close();
        QTRY_VERIFY(!closed);
        controller.refresh();
    }
};

QTEST_MAIN(SettingsWindowTest)
#include "SettingsWindowTest.moc"
