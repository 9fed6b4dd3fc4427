#pragma once

#include <QPainter>
#include <QSize>
#include <QString>
#include <QWidget>

#include <functional>
#include <memory>
#include <vector>

namespace murlo {

/// A picture of something the user can see, in one of its states.
struct Screen {
    QString name; ///< of its file, without ending
    QSize size;   ///< in points
    std::function<void(QPainter&)> paint;
};

/// The recording card in each of its states, over light and dark surroundings.
[[nodiscard]] std::vector<Screen> cardScreens();
/// The letters over text boxes, few and many, at edges and across screens.
[[nodiscard]] std::vector<Screen> hintLayers();
/// The tray item in its tints, with menu and windows.
[[nodiscard]] std::vector<Screen> trayScreens();
/// The window of the speech models, on computers of several kinds.
[[nodiscard]] std::vector<Screen> engineScreens();

/// A picture of a widget that is never shown.
[[nodiscard]] Screen grabbed(const QString& name,
                             const std::function<std::unique_ptr<QWidget>()>& make);

/// Renders every screen at scale 1 and 2 into PNG files of a folder, which is made if it is
/// missing. Returns how many files were written, or nothing when one could not be. Main thread,
/// with a Qt widgets application; no display is needed.
[[nodiscard]] std::optional<int> renderScreens(const QString& folder);

} // namespace murlo
