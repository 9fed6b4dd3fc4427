#include "platform/linux/x11/surfaces/X11Surfaces.h"

#include "platform/linux/x11/surfaces/X11Surface.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>

namespace murlo {

X11Surfaces::X11Surfaces(Scheduler& scheduler, std::shared_ptr<RootWatch> watch)
    : m_scheduler(scheduler)
    , m_watch(std::move(watch)) {
    // One selection per X screen; today's sessions have a single X screen.
    const auto compositor = QStringLiteral("_NET_WM_CM_S0");
    connect(m_watch.get(), &RootWatch::ownerChanged, this,
            [this, compositor](const QString& selection, bool owned) {
                if (selection == compositor) m_composited = owned;
            });
    connect(m_watch.get(), &RootWatch::restacked, this, &X11Surfaces::raiseAll);
    m_composited = m_watch->follow(compositor);
    followScreens();
}

X11Surfaces::~X11Surfaces() = default;

QList<ScreenInfo> X11Surfaces::screens() const {
    QList<ScreenInfo> screens;
    for (const QScreen* screen : QGuiApplication::screens()) { // the primary one comes first
        // A screen's origin is in device pixels, its size in points.
        const QRect frame = screen->geometry();
        screens.append(
            {frame, screen->availableGeometry(),
             QRectF(frame.topLeft(), QSizeF(frame.size()) * screen->devicePixelRatio())});
    }
    return screens;
}

std::optional<QPoint> X11Surfaces::pointer() const {
    return QCursor::pos();
}

std::unique_ptr<Surface> X11Surfaces::make(SurfaceTraits traits) {
    return std::make_unique<X11Surface>(*this, std::move(traits));
}

void X11Surfaces::followScreens() {
    const auto followOne = [this](QScreen* screen) {
        connect(screen, &QScreen::geometryChanged, this, &X11Surfaces::placeAgain);
        connect(screen, &QScreen::availableGeometryChanged, this, &X11Surfaces::placeAgain);
    };
    for (QScreen* screen : QGuiApplication::screens()) followOne(screen);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, followOne);
    for (const auto signal : {&QGuiApplication::screenAdded, &QGuiApplication::screenRemoved,
                              &QGuiApplication::primaryScreenChanged})
        connect(qGuiApp, signal, this, &X11Surfaces::placeAgain);
}

void X11Surfaces::placeAgain() {
    // On a later turn of the event loop: by then Qt has moved the windows of a removed screen.
    m_scheduler.nextTurn(m_lifetime.guard([this] {
        for (X11Surface* surface : m_shown) surface->place();
        raiseAll();
    }));
}

void X11Surfaces::keepAbove(X11Surface* surface) {
    letGo(surface);
    m_shown.push_back(surface);
    raiseAll();
}

void X11Surfaces::letGo(X11Surface* surface) {
    std::erase(m_shown, surface);
}

void X11Surfaces::raiseAll() {
    // On Qt's own connection, so that it is ordered after the requests that create and show
    // windows.
    const auto* native = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!native) return;
    for (const SurfaceLevel level : {SurfaceLevel::card, SurfaceLevel::hints}) {
        for (const X11Surface* surface : m_shown) {
            if (surface->level() != level) continue;
            const quint32 above = XCB_STACK_MODE_ABOVE;
            xcb_configure_window(native->connection(), surface->id(), XCB_CONFIG_WINDOW_STACK_MODE,
                                 &above);
        }
    }
    xcb_flush(native->connection());
}

} // namespace murlo
