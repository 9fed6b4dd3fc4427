#include "menubar/MenuBarCallout.h"
#include "menubar/StatusItemController.h"
#include "platform/Desktop.h"
#include "settings/SettingsModel.h"
#include "tests/fakes/FakeDesktop.h"
#include "tests/fakes/FakeLoginItem.h"
#include "tests/fakes/FakeSurfaces.h"
#include "tests/harness/DictationRig.h"
#include "windows/QuitQuestion.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QTest>

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

} // namespace

class MenuTest : public QObject {
    Q_OBJECT

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

    void whateverClosesTheQuitQuestionAnswersIt_data() {
        QTest::addColumn<QString>("how");
        QTest::addColumn<bool>("quits");
        QTest::newRow("Quit") << "Quit" << true;
        QTest::newRow("Cancel") << "Cancel" << false;
        QTest::newRow("its title bar or Alt+F4") << "close" << false;
    }
    void whateverClosesTheQuitQuestionAnswersIt() {
        QFETCH(QString, how);
        QuitQuestion question;
        int quits = 0;
        const auto ask = [&] { question.ask([&] { ++quits; }); };
        const auto box = [] {
            for (QWidget* window : QApplication::topLevelWidgets()) {
                auto* const shown = qobject_cast<QMessageBox*>(window);
                if (shown && shown->isVisible()) return shown;
            }
            return static_cast<QMessageBox*>(nullptr);
        };
        ask();
        QVERIFY(box());
        if (how == "close") box()->close();
        for (QAbstractButton* button :
             how == "close" ? QList<QAbstractButton*>() : box()->buttons())
            if (button->text() == how) button->click();
        QCOMPARE(quits, how == "Quit" ? 1 : 0);
        QVERIFY(!box());
        ask(); // and the next one is asked anew
        QVERIFY(box());
    }

    void theCalloutPointsAtTheItemAndStaysOnTheScreen_data() {
        QTest::addColumn<QRect>("item");
        QTest::addColumn<QRect>("visible");
        QTest::addColumn<QRect>("frame");
        const QRect belowPanel(0, 30, 1000, 770);
        QTest::newRow("below a panel at the top")
            << QRect(500, 3, 24, 24) << belowPanel << QRect(411, 41, 200, 60);
        QTest::newRow("at the right edge")
            << QRect(970, 3, 24, 24) << belowPanel << QRect(791, 41, 200, 60);
        QTest::newRow("above a panel at the bottom")
            << QRect(500, 773, 24, 24) << QRect(0, 0, 1000, 770) << QRect(411, 698, 200, 60);
        QTest::newRow("nobody tells where it is")
            << QRect() << belowPanel << QRect(791, 44, 200, 60);
    }
    void theCalloutPointsAtTheItemAndStaysOnTheScreen() {
        QFETCH(QRect, item);
        QFETCH(QRect, visible);
        QTEST(calloutPlacement({200, 60}, item, QRect(0, 0, 1000, 800), visible).frame, "frame");
    }
};

QTEST_MAIN(MenuTest)
#include "MenuTest.moc"
