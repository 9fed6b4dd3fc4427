#pragma once

#include "platform/Port.h"

#include <QList>
#include <QObject>
#include <QPainter>
#include <QRect>
#include <QRegion>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <variant>

namespace murlo {

/// A screen of the desktop, in both kinds of coordinates; y grows downwards in both.
struct ScreenInfo {
    QRect frame;   ///< in points, where surfaces are put
    QRect visible; ///< of `frame`: what panels and docks leave free
    QRectF device; ///< in device pixels, as other programs report frames

    /// Device pixels per point.
    [[nodiscard]] double scale() const {
        return frame.width() > 0 ? device.width() / frame.width() : 1;
    }
    bool operator==(const ScreenInfo&) const = default;
};

/// Asks for the screens as they are now, the main one first.
using AskScreens = std::function<QList<ScreenInfo>()>;
/// Device pixels per point on the screen that has most of a frame in device pixels; 1 without
/// screens.
[[nodiscard]] double scaleAt(const QList<ScreenInfo>& screens, const QRectF& frame);

/// Stacking order of Murlo's surfaces, lowest first.
enum class SurfaceLevel { card, hints };

/// In the middle of the pointer's screen, or of the main one if that is unknown, `distance` points
/// above the lower end of the screen's visible part.
struct AboveBottom {
    QSize size; ///< points
    int distance = 0;
};
/// All of one screen.
struct WholeScreen {
    ScreenInfo screen;
};
/// A frame in points.
struct AtFrame {
    QRect frame;
};
using SurfacePlace = std::variant<AboveBottom, WholeScreen, AtFrame>;

/// The constant properties of a surface.
struct SurfaceTraits {
    QString title;          ///< for the window system, never shown
    QString accessibleName; ///< for assistive technology; may be empty
    SurfaceLevel level = SurfaceLevel::card;
    SurfacePlace place;
    /// Draws it, in points from its top left corner. The painter is clipped to the part to be
    /// redrawn, which has been cleared to transparent.
    std::function<void(QPainter&)> paint;
};

/// A picture in a window above all others, which takes neither the focus nor clicks. Initially
/// hidden. Main thread.
class Surface : public Port {
public:
    /// Puts it at its place on the screens as they are now, and keeps it there and above all other
    /// windows, a full-screen one that comes later included, until `hide`.
    virtual void show() = 0;
    virtual void hide() = 0;
    /// Asks for a part to be drawn anew with the next frame.
    virtual void update(const QRect& part) = 0;
    /// Draws the requested parts immediately.
    virtual void flush() = 0;
    /// Restricts the window to this region, which may be empty; without a region it is the whole
    /// surface.
    virtual void setShape(const std::optional<QRegion>& shape) = 0;
};

/// Makes the surfaces that Murlo draws over other programs' windows. Main thread.
class Surfaces : public QObject {
    Q_OBJECT

public:
    /// The screens now, the main one first.
    [[nodiscard]] virtual QList<ScreenInfo> screens() const = 0;
    /// Where the pointer is, in points; empty if the session does not report it.
    [[nodiscard]] virtual std::optional<QPoint> pointer() const = 0;
    /// Whether surfaces are translucent now (a compositor runs). Otherwise undrawn parts are black,
    /// and a surface needs a shape.
    [[nodiscard]] virtual bool areTranslucent() const = 0;
    /// Makes a surface; it may not outlive this object.
    [[nodiscard]] virtual std::unique_ptr<Surface> make(SurfaceTraits traits) = 0;
};

/// The frame of a place, in points; empty when there is no screen.
[[nodiscard]] QRect frameOf(const SurfacePlace& place, const QList<ScreenInfo>& screens,
                            const std::optional<QPoint>& pointer);

} // namespace murlo
