#pragma once

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
    QRectF device; ///< in device pixels, as other programs tell their frames

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

/// Which of Murlo's surfaces covers which, lowest first.
enum class SurfaceLevel { card, hints };

/// In the middle of the pointer's screen, or of the main one where the session does not tell which
/// that is, `distance` points above the lower end of the screen's visible part.
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

/// What a surface is, from its making to its end.
struct SurfaceTraits {
    QString title;          ///< for the window system, never shown
    QString accessibleName; ///< for assistive technology; may be empty
    SurfaceLevel level = SurfaceLevel::card;
    SurfacePlace place;
    /// Draws it, in points from its top left corner. The painter is clipped to what is wanted, and
    /// that has been made transparent.
    std::function<void(QPainter&)> paint;
};

/// A window that is nothing but a picture above all others: it takes neither the focus nor clicks.
/// It begins hidden. Main thread.
class Surface {
public:
    Surface() = default;
    Surface(const Surface&) = delete;
    Surface& operator=(const Surface&) = delete;
    virtual ~Surface() = default;

    /// Puts it at its place on the screens as they are now, and keeps it there and above all other
    /// windows, a full-screen one that comes later included, until `hide`.
    virtual void show() = 0;
    virtual void hide() = 0;
    /// Asks for a part to be drawn anew with the next frame.
    virtual void update(const QRect& part) = 0;
    /// Draws now what was asked for.
    virtual void flush() = 0;
    /// Lets only this part of the surface be there at all, none of it if the region is empty;
    /// without a region all of it is.
    virtual void setShape(const std::optional<QRegion>& shape) = 0;
};

/// Makes the surfaces that Murlo draws over other programs' windows. Main thread.
class Surfaces : public QObject {
    Q_OBJECT

public:
    /// The screens now, the main one first.
    [[nodiscard]] virtual QList<ScreenInfo> screens() const = 0;
    /// Where the pointer is, in points; nothing where the session does not tell.
    [[nodiscard]] virtual std::optional<QPoint> pointer() const = 0;
    /// Whether what is behind a surface shows through it now. Where it does not, a surface is
    /// black wherever nothing is drawn, and needs a shape.
    [[nodiscard]] virtual bool areTranslucent() const = 0;
    /// Makes a surface; it may not outlive this object.
    [[nodiscard]] virtual std::unique_ptr<Surface> make(SurfaceTraits traits) = 0;
};

/// The frame of a place, in points; empty when there is no screen.
[[nodiscard]] QRect frameOf(const SurfacePlace& place, const QList<ScreenInfo>& screens,
                            const std::optional<QPoint>& pointer);

} // namespace murlo
