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

#include <QPainter>

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
};

QTEST_MAIN(MenuTest)
#include "MenuTest.moc"
