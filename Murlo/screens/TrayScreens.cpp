#include "MurloKit/TriggerKey.h"
#include "look/BrandMark.h"
#include "look/Look.h"
#include "look/Words.h"
#include "menubar/MenuBarCallout.h"
#include "menubar/StatusItemController.h"
#include "screens/Screens.h"
#include "windows/QuitQuestion.h"
#include "windows/SettingsWindow.h"

#include <QMenu>

namespace murlo {

namespace {

MenuInput sampleMenu() {
    MenuInput input;
    input.triggerLabel = label(TriggerKey::leftShift);
    input.engine = {EngineState::ready, {}};
    input.history = {
        QStringLiteral("Let us meet at the station on Thursday, and bring the drawings."),
        QStringLiteral("Dear all,\nthe bridge is open again.")};
    input.version = QStringLiteral("0.1.0");
    return input;
}

/// A picture of a widget that is never shown.
Screen grabbed(const QString& name, const std::function<std::unique_ptr<QWidget>()>& make) {
    const auto laidOut = [make] {
        auto widget = make();
        widget->ensurePolished();
        widget->adjustSize();
        return widget;
    };
    return {name, laidOut()->size(), [laidOut](QPainter& painter) {
                const auto widget = laidOut();
                widget->render(&painter);
            }};
}

std::unique_ptr<QWidget> menu(const MenuInput& input) {
    auto made = std::make_unique<QMenu>();
    fillMenu(*made, menuEntries(input), [](const MenuEntry&) {});
    return made;
}

std::unique_ptr<QWidget> window() {
    const auto entries = [] { return menuEntries(sampleMenu()); };
    auto made = std::make_unique<SettingsWindow>(
        SettingsWindowActions{entries, [](const MenuEntry&) {}, [] { return sampleMenu().history; },
                              [] { return true; }, [] {}, [] {}});
    made->setMinimumSize(460, 520);
    return made;
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
    return {{QStringLiteral("tray-item"), {260, 80}, paintItems},
            grabbed(QStringLiteral("menu"), [] { return menu(sampleMenu()); }),
            grabbed(QStringLiteral("menu-everything"), [failed] { return menu(failed); }),
            grabbed(QStringLiteral("window"), window),
            grabbed(QStringLiteral("quit-question"),
                    []() -> std::unique_ptr<QWidget> { return QuitQuestion::makeBox(); }),
            {QStringLiteral("callout"), {420, 110}, [](QPainter& painter) {
                 painter.fillRect(QRect(0, 0, 420, 110), QColor(120, 140, 160));
                 painter.fillRect(QRect(0, 0, 420, 24), QColor(32, 32, 36));
                 brandIcon({}).paint(&painter, QRect(350, 0, 24, 24));
                 MenuBarCallout::paint(
                     painter, calloutPlacement(MenuBarCallout::size(), QRect(350, 0, 24, 24),
                                               QRect(0, 0, 420, 900), QRect(0, 24, 420, 876)));
             }}};
}

} // namespace murlo
