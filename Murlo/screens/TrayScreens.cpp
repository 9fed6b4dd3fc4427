#include "MurloKit/TriggerKey.h"
#include "look/BrandMark.h"
#include "look/Look.h"
#include "look/Words.h"
#include "menubar/MenuBarCallout.h"
#include "menubar/StatusItemController.h"
#include "screens/Screens.h"
#include "windows/QuitQuestion.h"
#include "windows/SettingsWindow.h"
#include "windows/SignInNote.h"

#include <QMenu>

namespace murlo {

namespace {

MenuInput sampleMenu() {
    MenuInput input;
    input.trigger = TriggerKey::leftShift;
    input.engine = {EngineState::ready, {}};
    input.history = {
        QStringLiteral("Let us meet at the station on Thursday, and bring the drawings."),
        QStringLiteral("Dear all,\nthe bridge is open again.")};
    input.version = QStringLiteral("0.1.0");
    return input;
}

std::unique_ptr<QWidget> menu(const MenuInput& input) {
    auto made = std::make_unique<QMenu>();
    fillMenu(*made, menuEntries(input), [](const MenuEntry&) {});
    return made;
}

std::unique_ptr<QWidget> window(const AccountFacts& account) {
    const auto entries = [] { return menuEntries(sampleMenu()); };
    auto made = std::make_unique<SettingsWindow>(SettingsWindowActions{
        entries, [](const MenuEntry&) {}, [] { return sampleMenu().history; },
        [account] { return account.signedIn; }, [] {}, [] {},
        AccountRowActions{[account] { return presentAccount(account); }, [] {}, [](bool) {}}});
    made->setMinimumSize(460, 620);
    return made;
}

/// Murlo's window in the states that an account can be in.
std::vector<Screen> windows() {
    AccountFacts in;
    in.signedIn = true;
    in.email = QStringLiteral("someone@localhost");
    in.enhance = true;
    AccountFacts failed;
    failed.provider = QStringLiteral("Example");
    failed.trouble = {Word::signInUnexpected, {failed.provider}};
    AccountFacts waiting;
    waiting.signingIn = true;
    AccountFacts team = in;
    team.remoteHost = QStringLiteral("murlo.example.com");
    team.enhance = false;
    std::vector<Screen> all;
    for (const auto& [name, facts] :
         {std::pair(QStringLiteral("window"), in),
          std::pair(QStringLiteral("window-signed-out"), AccountFacts()),
          std::pair(QStringLiteral("window-signing-in"), waiting),
          std::pair(QStringLiteral("window-sign-in-failed"), failed),
          std::pair(QStringLiteral("window-team"), team)})
        all.push_back(grabbed(name, [facts = facts] { return window(facts); }));
    return all;
}

void paintItems(QPainter& painter) {
    constexpr int width = 260;
    constexpr int height = 40;
    double y = 0;
    for (const QColor& panel : {QColor(32, 32, 36), QColor(238, 238, 240)}) {
        painter.fillRect(QRectF(0, y, width, height), panel);
        int x = 12;
        for (const QColor& tint : {QColor(), Look::red, Look::orange}) {
            for (const int side : {16, 22, 24}) {
                const QIcon icon = brandIcon(tint);
                icon.paint(&painter,
                           QRect(x, static_cast<int>(y) + (height - side) / 2, side, side));
                x += side + 6;
            }
        }
        y += height;
    }
}

/// The callout at an item of a panel of 24 points.
Screen callout(const QString& name, bool panelAbove) {
    const QRect screen(0, 0, 420, 110);
    const QRect panel(0, panelAbove ? 0 : 86, 420, 24);
    return {name, screen.size(), [screen, panel](QPainter& painter) {
                const QRect item(350, panel.y(), 24, 24);
                painter.fillRect(screen, QColor(120, 140, 160));
                painter.fillRect(panel, QColor(32, 32, 36));
                brandIcon({}).paint(&painter, item);
                MenuBarCallout::paint(
                    painter, calloutPlacement(MenuBarCallout::size(), item, screen, screen));
            }};
}

} // namespace

std::vector<Screen> trayScreens() {
    MenuInput failed = sampleMenu();
    failed.dictation = DictationState::transcribing;
    failed.engine = {EngineState::failed, {Word::engineKeepsStopping, {QStringLiteral("11")}}};
    failed.history.clear();
    failed.logWanted = true;
    failed.update = QStringLiteral("0.2.0");
    failed.setupTitle = Words::shown(Word::finishSetup);
    failed.hasSelfTest = true;
    std::vector<Screen> screens{
        {QStringLiteral("tray-item"), {260, 80}, paintItems},
        grabbed(QStringLiteral("menu"), [] { return menu(sampleMenu()); }),
        grabbed(QStringLiteral("menu-everything"), [failed] { return menu(failed); }),
        grabbed(QStringLiteral("quit-question"),
                []() -> std::unique_ptr<QWidget> { return QuitQuestion::makeBox(); }),
        grabbed(QStringLiteral("sign-in-note"),
                []() -> std::unique_ptr<QWidget> {
                    return std::make_unique<SignInNote>(SignInNoteActions{[] {}, [] {}, [] {}});
                }),
        callout(QStringLiteral("callout"), true),
        callout(QStringLiteral("callout-below"), false)};
    for (Screen& screen : windows()) screens.push_back(std::move(screen));
    return screens;
}

} // namespace murlo
