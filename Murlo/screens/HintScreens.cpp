#include "MurloKit/HintLabels.h"
#include "hints/HintPainter.h"
#include "screens/Screens.h"

namespace murlo {

namespace {

const QSize desktop(1280, 800);

/// A made-up window with its text boxes in columns.
struct Window {
    QRectF frame;
    int columns = 1;
    int rows = 1;
    double boxHeight = 24;
};

QList<QRectF> boxesOf(const Window& window) {
    constexpr double margin = 24;
    constexpr double titleBar = 30;
    const QRectF inside = window.frame.adjusted(margin, margin + titleBar, -margin, -margin);
    const double across = inside.width() / window.columns;
    const double along = inside.height() / window.rows;
    QList<QRectF> boxes;
    for (int row = 0; row < window.rows; ++row) {
        for (int column = 0; column < window.columns; ++column)
            boxes.append({inside.left() + column * across, inside.top() + row * along,
                          across - margin / 2, std::min(window.boxHeight, along - 6)});
    }
    return boxes;
}

struct HintState {
    const char* name;
    QList<Window> windows;
    QList<QRectF> alone; ///< boxes of windows that are not drawn
    QString typed;
    bool dark = false;
};

void paintDesktop(QPainter& painter, const HintState& state) {
    painter.fillRect(QRect(QPoint(), desktop),
                     state.dark ? QColor(30, 34, 42) : QColor(118, 140, 160));
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor paper = state.dark ? QColor(44, 46, 52) : QColor(246, 246, 244);
    const QColor field = state.dark ? QColor(30, 31, 35) : Qt::white;
    const QColor line = state.dark ? QColor(92, 94, 100) : QColor(186, 186, 184);
    const QColor ink = state.dark ? QColor(170, 172, 178) : QColor(120, 120, 124);
    const auto paintBoxes = [&](const QList<QRectF>& boxes) {
        for (const QRectF& box : boxes) {
            painter.setPen(line);
            painter.setBrush(field);
            painter.drawRoundedRect(box, 4, 4);
            painter.fillRect(QRectF(box.left() + 12, box.top() + 10, box.width() * 0.4, 4), ink);
        }
    };
    for (const Window& window : state.windows) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(paper);
        painter.drawRoundedRect(window.frame, 8, 8);
        painter.fillRect(QRectF(window.frame.left() + 14, window.frame.top() + 14, 120, 5), ink);
        paintBoxes(boxesOf(window));
    }
    paintBoxes(state.alone);
}

/// A layer that has come to rest.
HintRecord recordOf(const QList<HintBadge>& badges, const QString& typed) {
    constexpr double settled = 3; // seconds
    HintMotion motion(badges);
    HintOverlayModel model;
    model.setPresented(true);
    model.setTyped(typed);
    motion.update(model, false);
    motion.advance(settled);
    return motion.present();
}

QList<HintBadge> badgesOf(const HintState& state) {
    QList<QRectF> boxes = state.alone;
    for (const Window& window : state.windows) boxes.append(boxesOf(window));
    const QStringList labels = hintLabels(boxes.size());
    QList<HintBadge> badges;
    for (qsizetype i = 0; i < boxes.size(); ++i) badges.append({{}, labels[i], boxes[i]});
    return badges;
}

/// The layer of one of two screens that stand side by side, the right one with scale 2, and share a
/// box.
Screen ofTwoScreens(const char* name, const ScreenInfo& screen) {
    QList<InputTarget> targets(3);
    const QList<QRectF> boxes{{200, 200, 400, 30}, {1000, 400, 900, 60}, {2000, 800, 800, 60}};
    for (qsizetype i = 0; i < boxes.size(); ++i) {
        targets[i].hint = hintLabels(3)[i];
        targets[i].frame = boxes[i];
    }
    const QList<HintBadge> badges = badgesOf(targets, screen);
    return {QString::fromLatin1(name), desktop, [badges](QPainter& painter) {
                HintState drawn{};
                for (const HintBadge& badge : badges) drawn.alone.append(badge.rect);
                paintDesktop(painter, drawn);
                paintHints(painter, recordOf(badges, {}), true);
            }};
}

} // namespace

std::vector<Screen> hintLayers() {
    const QList<Window> few{{{90, 80, 700, 560}, 1, 1, 460}, {{840, 240, 360, 200}, 1, 2}};
    const QList<Window> form{{{60, 60, 560, 680}, 2, 9}, {{680, 60, 540, 680}, 1, 10}};
    const QList<Window> crowd{{{20, 20, 620, 760}, 5, 20}, {{660, 20, 600, 760}, 5, 20}};
    const double right = desktop.width();
    const double bottom = desktop.height();
    const QList<QRectF> edges{
        {0, 0, 240, 28},           {520, -10, 240, 28},        {right - 240, 0, 240, 28},
        {0, 380, 240, 28},         {right - 60, 380, 240, 28}, {-120, 560, 240, 28},
        {0, bottom - 28, 240, 28}, {520, bottom - 14, 240, 28}};
    const QList<HintState> states{
        {"hints-3", few, {}, {}},
        {"hints-3-dark", few, {}, {}, true},
        {"hints-28", form, {}, {}},
        {"hints-28-typed", form, {}, QStringLiteral("M")},
        {"hints-28-typed-dark", form, {}, QStringLiteral("M"), true},
        {"hints-200", crowd, {}, {}},
        {"hints-200-typed", crowd, {}, QStringLiteral("V")},
        {"hints-edges", {}, edges, {}},
    };
    std::vector<Screen> screens;
    for (const HintState& state : states) {
        screens.push_back({QString::fromLatin1(state.name), desktop, [state](QPainter& painter) {
                               paintDesktop(painter, state);
                               paintHints(painter, recordOf(badgesOf(state), state.typed), true);
                           }});
    }
    screens.push_back(
        ofTwoScreens("hints-two-screens-left", {{0, 0, 1280, 800}, {}, {0, 0, 1280, 800}}));
    screens.push_back(
        ofTwoScreens("hints-two-screens-right", {{1280, 0, 1280, 800}, {}, {1280, 0, 2560, 1600}}));
    return screens;
}

} // namespace murlo
