#pragma once

#include "platform/Surfaces.h"

#include <QWidget>

namespace murlo {

class X11Surfaces;

/// One surface: a window that the window manager does not manage. Main thread.
class X11Surface : public QWidget, public Surface {
public:
    X11Surface(X11Surfaces& owner, SurfaceTraits traits);
    ~X11Surface() override;

    void show() override;
    void hide() override;
    void update(const QRect& part) override { QWidget::update(part); }
    void flush() override { repaint(); }
    void setShape(const std::optional<QRegion>& shape) override;

    /// Moves it to its place on the screens as they are now.
    void place();
    [[nodiscard]] SurfaceLevel level() const { return m_traits.level; }
    /// Its window id on the server. Not `QWidget::winId()`, which may be that of an earlier window.
    [[nodiscard]] quint32 id() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    X11Surfaces& m_owner;
    SurfaceTraits m_traits;
};

} // namespace murlo
