#include "look/BrandMark.h"
#include "menubar/MenuBarCallout.h"
#include "menubar/StatusItemController.h"
#include "platform/Desktop.h"
#include "settings/SettingsModel.h"
#include "tests/fakes/FakeDesktop.h"
#include "tests/fakes/FakeLoginItem.h"
#include "tests/fakes/FakeSurfaces.h"
#include "tests/harness/DictationRig.h"
#include "tests/harness/Rows.h"
#include "windows/EngineWindow.h"
#include "windows/SettingsWindow.h"

#include <QRadioButton>

#include <QApplication>
#include <QPainter>
#include <QPushButton>

using namespace murlo;

namespace {

/// The menu's lines, "-" for a separator, an entry of a submenu behind a "> ".
QStringList lines(const QList<MenuEntry>& entries) {
    QStringList result;
    for (const MenuEntry& entry : entries) {
        result << (entry.isSeparator() ? "-" : entry.title);
        for (const MenuEntry& inner : entry.submenu) result << "> " + inner.title;
    }
    return result;
}

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
         [this](bool on) { asked << (on ? "enhance" : "plain"); }},
        [this] { asked << "models"; }};
};

} // namespace

/// The menu, its item and callout, and the window that offers the same.
class MenuTest : public QObject {
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
    void theMenuTellsWhatIsTrueNow() {
        MenuInput input;
        input.trigger = TriggerKey::leftShift;
        input.engine = {EngineState::loading, {}};
        QCOMPARE(lines(menuEntries(input)),
                 (QStringList{"Start Dictation  (double-tap Left ⇧)", "-", "Engine: loading model…",
                              "-", "Open Murlo…", "-", "Murlo dev", "Quit Murlo"}));
        input.dictation = DictationState::transcribing;
        input.engine = {EngineState::failed, {Word::asReported, {"it broke"}}};
        input.history = {QString(49, 'x'), "two\n" + QString(44, 'x')};
        input.setupTitle = "Finish setup…";
        input.hasSelfTest = input.logWanted = true;
        input.update = "1.2.3";
        input.version = "1.0.0";
        const auto menu = menuEntries(input);
        QCOMPARE(lines(menu),
                 (QStringList{"Stop Dictation", "-", "Engine: it broke", "-", "Recent",
                              "> " + QString(48, 'x') + "…", "> two " + QString(44, 'x'), "-",
                              "Finish setup…", "Open Murlo…", "Run Self-Test…", "Open Log", "-",
                              "Update to 1.2.3…", "Murlo 1.0.0", "Quit Murlo"}));
        QVERIFY(!menu[menu.size() - 2].enabled);
    }

    void commandsReachWhoCarriesThemOut() {
        DictationRig rig;
        FakeLoginItem login;
        FakeDesktop desktop;
        FakeSurfaces surfaces;
        SettingsModel model(rig.settings, login);
        StatusItemController item(
            {rig.controller, rig.history, rig.settings, model, rig.pasteboard, desktop, surfaces});
        rig.settings.set(SettingKey::triggerKey, QString("noSuchKey"));
        QStringList called;
        item.onToggleDictation = [&] { called << "toggle"; };
        item.onRestartEngine = [&] { called << "restart"; };
        item.onQuit = [&] { called << "quit"; };
        rig.engineGetsReady();
        rig.controller.begin(false);
        rig.scheduler.runPending();
        rig.speak(1);
        rig.controller.finish();
        rig.engineAnswers("first line\nsecond");
        const auto entries = item.entries();
        QCOMPARE(entries.first().title, "Start Dictation  (double-tap Left ⇧)");
        for (const MenuEntry& entry : entries) {
            item.perform(entry);
            for (const MenuEntry& inner : entry.submenu) item.perform(inner);
        }
        QCOMPARE(called, (QStringList{"toggle", "restart", "quit"}));
        QCOMPARE(rig.pasteboard.text(), "first line\nsecond");
        MenuEntry gone;
        gone.command = MenuCommand::copyHistory;
        gone.index = 7;
        item.perform(gone);
        QCOMPARE(rig.pasteboard.text(), "first line\nsecond");
    }

    void theItemIsReadableOnAnyPanel() {
        for (const QColor& panel : {QColor(32, 32, 36), QColor(238, 238, 240)}) {
            for (const int side : {16, 22, 24}) {
                QImage seen(side, side, QImage::Format_RGB32);
                seen.fill(panel);
                QPainter painter(&seen);
                brandIcon({}).paint(&painter, seen.rect());
                int contrasting = 0;
                for (int i = 0; i < side * side; ++i)
                    contrasting +=
                        qAbs(qGray(seen.pixel(i % side, i / side)) - qGray(panel.rgb())) > 90;
                QVERIFY2(contrasting > 20, qPrintable(panel.name()));
            }
        }
    }

    void theCalloutPointsAtTheItemAndStaysOnTheScreen_data() {
        const Rows<QRect, QRect, QPoint> row; // the item's, the visible part of the screen
        const QRect belowPanel(0, 30, 1000, 770);
        row("below a panel at the top", {500, 3, 24, 24}, belowPanel, {411, 41});
        row("at the right edge", {970, 3, 24, 24}, belowPanel, {791, 41});
        row("above a panel at the bottom", {500, 773, 24, 24}, {0, 0, 1000, 770}, {411, 698});
        row("nobody tells where it is", {}, belowPanel, {791, 44});
    }
    void theCalloutPointsAtTheItemAndStaysOnTheScreen() {
        const auto [item, visible, at] = fetch<QRect, QRect, QPoint>();
        const QSize size(200, 60);
        QCOMPARE(calloutPlacement(size, item, QRect(0, 0, 1000, 800), visible).frame,
                 QRect(at, size));
    }

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
            "Log Out", {.signedIn = true, .email = "me@localhost"});
        row("only by name",
            {"Signed in as me@localhost",
             "We couldn't finish setting up your account. Please sign in again."},
            "Continue",
            {.signedIn = true,
             .lacksKey = true,
             .email = "me@localhost",
             .trouble = Word::signupIncomplete});
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

    void theModelsWindowOffersWhatCanBeDone() {
        const QString small = "/m/ggml-small-q8_0.bin";
        EngineFacts facts;
        facts.installed = {"/m/ggml-tiny-q5_1.bin", small, "/m/mine.bin",
                           "/m/ggml-base.en-q5_1.bin"};
        facts.current = small;
        QString done;
        EngineWindow window({[&] { return presentEngine(facts); },
                             [&](const QString& path) { done = path; },
                             [&](const ModelRow& row) { done = row.spoken; },
                             [&](const QString& key) { done = key; }, [&] { done = "again"; }});
        const auto button = [&](const QString& spoken) {
            for (auto* each : window.findChildren<QPushButton*>())
                if (each->accessibleName() == spoken && each->isVisibleTo(&window)) return each;
            return static_cast<QPushButton*>(nullptr);
        };
        const auto choices = [&] {
            QStringList all; // those that can be chosen; the current one in brackets
            for (auto* each : window.findChildren<QRadioButton*>())
                if (each->isEnabledTo(&window) && each->isVisibleTo(&window))
                    all << (each->isChecked() ? "(" + each->text() + ")" : each->text());
            return all;
        };
        QCOMPARE(choices(), (QStringList{"Tiny Q5_1", "(Small Q8_0)", "Base.En Q5_1", "Mine"}));
        button("Download Murlo Fast")->click();
        QCOMPARE(done, "Download Murlo Fast");
        button("Delete Tiny Q5_1")->click();
        QCOMPARE(done, "Delete Tiny Q5_1");
        QVERIFY(!button("Delete Small Q8_0") && !button("Delete Mine")); // in use, not to be had
        window.findChildren<QRadioButton*>().last()->click();
        QCOMPARE(done, "/m/mine.bin");

        QVERIFY(!button("Download Small.En Q8_0")); // whoever speaks English is offered those
        facts.language = "en";
        window.refresh();
        QVERIFY(button("Download Small.En Q8_0"));
        facts.current = facts.installed.last();
        QVERIFY(presentEngine(facts).warning.isEmpty());
        facts.language = "auto";
        QVERIFY(presentEngine(facts).warning.contains("English only"));

        facts.downloading = ModelCatalog::preferred().file;
        facts.news = Word::connecting;
        facts.setAside = QStringList{"A GPU"};
        facts.speed.devices.resize(2);
        facts.speed.devices[1].number = 0;
        facts.speed.devices[1].name = "A GPU";
        window.refresh();
        QVERIFY(shown(window).contains("Connecting…") &&
                shown(window).contains("A GPU failed and is set aside."));
        QVERIFY(button("Pause") && !button("Download Base Q5_1")); // one at a time
        auto* devices = window.findChild<QComboBox*>();
        QCOMPARE(devices->count(), 3);
        Q_EMIT devices->activated(2);
        QCOMPARE(done, "A GPU");
        button("")->click();
        QCOMPARE(done, "again");
    }
};

QTEST_MAIN(MenuTest)
#include "MenuTest.moc"
