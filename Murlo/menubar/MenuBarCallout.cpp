#include "menubar/MenuBarCallout.h"

#include "look/Look.h"
#include "look/Shapes.h"
#include "look/Symbols.h"
#include "look/Words.h"
#include "platform/Desktop.h"
#include "settings/Settings.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPainter>
#include <QScreen>
#include <QWindow>

namespace murlo {

namespace {

constexpr int distance = 8;   ///< between item and callout
constexpr int arrow = 14;     ///< side of the arrow's square
constexpr int arrowInset = 7; ///< of that square into the card
constexpr double radius = 14;
constexpr double lasts = 5; ///< seconds
constexpr double lineHeight = 19;

QString headline() {
    return Words::shown(Word::livesHere);
}

QString advice() {
    return Words::shown(Word::clickForMore);
}

QFont headlineFont() {
    return Look::font(Look::body, QFont::DemiBold);
}

class Panel : public QWidget {
public:
    Panel(const CalloutPlacement& placement, bool translucent)
        : QWidget(nullptr, Qt::ToolTip | Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint |
                               Qt::WindowTransparentForInput | Qt::WindowDoesNotAcceptFocus |
                               Qt::NoDropShadowWindowHint)
        , m_placement(placement) {
        setAttribute(Qt::WA_TranslucentBackground, translucent);
        setAttribute(Qt::WA_ShowWithoutActivating);
        const QRect all = placement.frame.adjusted(0, -arrow, 0, arrow);
        setGeometry(all);
        m_placement.frame.translate(-all.topLeft());
        m_placement.tip -= all.topLeft();
        if (!translucent) {
            const QRect card = m_placement.frame;
            const int tip = m_placement.tip.x();
            const int root = m_placement.above ? card.top() : card.bottom();
            setMask(QRegion(continuousRect(card, radius).toFillPolygon().toPolygon()) +
                    QRegion(QPolygon(
                        {m_placement.tip, {tip - arrow / 2, root}, {tip + arrow / 2, root}})));
        }
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        MenuBarCallout::paint(painter, m_placement);
    }

private:
    CalloutPlacement m_placement;
};

} // namespace

CalloutPlacement calloutPlacement(const QSize& size, const QRect& item, const QRect& screen,
                                  const QRect& visible) {
    QRect target = item;
    if (target.isEmpty()) {
        const int above = visible.top() - screen.top();
        const int below = screen.bottom() - visible.bottom();
        const int y = below > above ? visible.bottom() + 1 : visible.top() - 1;
        target = QRect(visible.right() - size.width() / 2, y, 1, 1);
    }
    CalloutPlacement placement;
    placement.above = target.center().y() < screen.center().y();
    placement.tip = {target.center().x(),
                     placement.above ? target.bottom() + distance : target.top() - distance};
    const int x =
        std::clamp(target.center().x() - size.width() / 2, visible.left() + distance,
                   std::max(visible.right() - size.width() - distance, visible.left() + distance));
    const int room = arrow - arrowInset;
    const int y =
        placement.above ? placement.tip.y() + room : placement.tip.y() - room - size.height();
    placement.frame = QRect(QPoint(x, y), size);
    return placement;
}

QSize MenuBarCallout::size() {
    const double wide =
        std::max(QFontMetricsF(headlineFont()).horizontalAdvance(headline()),
                 QFontMetricsF(Look::font(Look::caption)).horizontalAdvance(advice()));
    return {static_cast<int>(std::ceil(wide + 2 * Look::padding)),
            static_cast<int>(2 * lineHeight + 2 * Look::padding - 8)};
}

void MenuBarCallout::paint(QPainter& painter, const CalloutPlacement& placement) {
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    const QRectF card(placement.frame);
    QColor surface = Look::panelOpaque;
    painter.save();
    const QPointF tip(placement.tip);
    painter.translate(tip);
    if (!placement.above) painter.rotate(180);
    drawSymbol(painter, Symbol::arrowUp, QRectF(-arrow / 2.0, -3, arrow, arrow), surface);
    painter.restore();
    painter.fillPath(continuousRect(card, radius), surface);
    painter.setPen(QPen(Look::panelBorder, Look::hairline));
    painter.drawPath(continuousRect(card.adjusted(0.5, 0.5, -0.5, -0.5), radius - 0.5));
    const double x = card.left() + Look::padding;
    const double y = card.top() + Look::padding - 4;
    painter.setFont(headlineFont());
    painter.setPen(Look::panelText);
    painter.drawText(QPointF(x, std::round(y + 14)), headline());
    painter.setFont(Look::font(Look::caption));
    painter.setPen(Look::panelDim);
    painter.drawText(QPointF(x, std::round(y + lineHeight + 14)), advice());
}

void MenuBarCallout::showOnce(const QRect& item) {
    if (m_settings.truth(SettingKey::seenMenuBarCallout)) return;
    const QScreen* screen = QGuiApplication::screenAt(item.center());
    if (!screen) screen = QGuiApplication::primaryScreen();
    if (!screen) return;
    m_panel = std::make_unique<Panel>(
        calloutPlacement(size(), item, screen->geometry(), screen->availableGeometry()),
        m_desktop.isComposited());
    m_panel->show();
    // Not the widget's own id: showing it has made the window anew.
    const quint64 window = m_panel->windowHandle()->winId();
    m_desktop.keepAbove(window, PanelLevel::card);
    m_settings.set(SettingKey::seenMenuBarCallout, true);
    m_end = m_scheduler.after(lasts, [this, window] {
        m_desktop.letGo(window);
        m_panel.reset();
    });
}

} // namespace murlo
