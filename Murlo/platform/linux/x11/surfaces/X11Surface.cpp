#include "platform/linux/x11/surfaces/X11Surface.h"

#include "platform/linux/x11/surfaces/X11Surfaces.h"

#include <QPaintEvent>
#include <QWindow>

namespace murlo {

X11Surface::X11Surface(X11Surfaces& owner, SurfaceTraits traits)
    : QWidget(nullptr, Qt::ToolTip | Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint |
                           Qt::WindowStaysOnTopHint | Qt::WindowTransparentForInput |
                           Qt::WindowDoesNotAcceptFocus | Qt::NoDropShadowWindowHint)
    , m_owner(owner)
    , m_traits(std::move(traits)) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setWindowTitle(m_traits.title);
    setAccessibleName(m_traits.accessibleName);
    place();
    create(); // the window itself, not yet on the screen
}

X11Surface::~X11Surface() {
    m_owner.letGo(this);
}

quint32 X11Surface::id() const {
    return static_cast<quint32>(windowHandle()->winId());
}

void X11Surface::place() {
    const QRect frame = frameOf(m_traits.place, m_owner.screens(), m_owner.pointer());
    if (!frame.isEmpty()) setGeometry(frame);
}

void X11Surface::show() {
    place();
    if (!isVisible()) QWidget::show();
    raise();
    m_owner.keepAbove(this);
}

void X11Surface::hide() {
    m_owner.letGo(this);
    QWidget::hide();
}

void X11Surface::setShape(const std::optional<QRegion>& shape) {
    // Qt takes an empty mask as no mask, so an empty shape is one pixel outside the window.
    if (shape) {
        setMask(shape->isEmpty() ? QRegion(-2, -2, 1, 1) : *shape);
    } else {
        clearMask();
    }
}

void X11Surface::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.setClipRegion(event->region());
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(event->rect(), Qt::transparent);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    m_traits.paint(painter);
}

} // namespace murlo
