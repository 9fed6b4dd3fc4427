#include "menubar/MenuBarCallout.h"

#include "look/Look.h"
#include "look/Shapes.h"
#include "look/Symbols.h"
#include "look/Words.h"
#include "settings/Settings.h"

#include <QFontMetricsF>
#include <QPainter>

#include <algorithm>

namespace murlo {

namespace {

constexpr int distance = 8;   ///< between item and callout
constexpr int arrow = 14;     ///< side of the arrow's square
constexpr int arrowInset = 7; ///< of that square into the card
constexpr double radius = 14;
constexpr double lasts = 5; ///< seconds
constexpr double lineHeight = 19;

/// By where the item is.
QString headline(bool above) {
    return Words::shown(above ? Word::livesUpHere : Word::livesDownHere);
}

QString advice() {
    return Words::shown(Word::clickForMore);
}

QFont headlineFont() {
    return Look::font(Look::body, QFont::DemiBold);
}

/// The part of the screen that the callout covers.
QRegion outline(const CalloutPlacement& placement) {
    const QRect& card = placement.frame;
    const int tip = placement.tip.x();
    const int root = placement.above ? card.top() : card.bottom();
    return QRegion(continuousRect(card, radius).toFillPolygon().toPolygon()) +
           QRegion(QPolygon({placement.tip, {tip - arrow / 2, root}, {tip + arrow / 2, root}}));
}

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
    const QFontMetricsF bold(headlineFont());
    const double wide =
        std::max({bold.horizontalAdvance(headline(true)), bold.horizontalAdvance(headline(false)),
                  QFontMetricsF(Look::font(Look::caption)).horizontalAdvance(advice())});
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
    painter.drawText(QPointF(x, std::round(y + 14)), headline(placement.above));
    painter.setFont(Look::font(Look::caption));
    painter.setPen(Look::panelDim);
    painter.drawText(QPointF(x, std::round(y + lineHeight + 14)), advice());
}

void MenuBarCallout::showOnce(const QRect& item) {
    if (m_settings.truth(SettingKey::seenMenuBarCallout)) return;
    const QList<ScreenInfo> screens = m_surfaces.screens();
    if (screens.isEmpty()) return;
    const auto under = std::ranges::find_if(
        screens, [&](const ScreenInfo& screen) { return screen.frame.contains(item.center()); });
    const ScreenInfo& screen = under == screens.end() ? screens.first() : *under;
    CalloutPlacement placement = calloutPlacement(size(), item, screen.frame, screen.visible);
    const QRect all = placement.frame.adjusted(0, -arrow, 0, arrow);
    placement.frame.translate(-all.topLeft());
    placement.tip -= all.topLeft();
    m_surface = m_surfaces.make({
        .title = QStringLiteral("Murlo"),
        .accessibleName = headline(placement.above),
        .level = SurfaceLevel::card,
        .place = AtFrame{all},
        .paint = [placement](QPainter& painter) { paint(painter, placement); },
    });
    if (!m_surfaces.areTranslucent()) m_surface->setShape(outline(placement));
    m_surface->show();
    m_settings.set(SettingKey::seenMenuBarCallout, true);
    m_end = m_scheduler.after(lasts, [this] { m_surface.reset(); });
}

} // namespace murlo
