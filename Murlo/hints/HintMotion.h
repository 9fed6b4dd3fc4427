#pragma once

#include "MurloKit/Motion.h"
#include "hints/HintOverlay.h"

#include <QColor>
#include <QFont>

#include <vector>

namespace murlo {

/// One box and its label as they look at a moment, in points from the layer's top left.
struct HintMark {
    QRectF outline;
    double stroke = 0;
    double fill = 0;    ///< opacity of the outline's inside
    double opacity = 0; ///< of the outline
    QRectF label;
    QString typed;
    QString rest;
    double matching = 1; ///< 1 solid amber … 0 thin and faded
    double labelScale = 1;
    double labelOpacity = 1;

    friend bool operator==(const HintMark&, const HintMark&) = default;
};

/// All that a layer shows at a moment.
struct HintRecord {
    double presented = 0; ///< opacity of everything
    double wash = 0;      ///< opacity of the black over the whole screen
    std::vector<HintMark> marks;
};

/// The font of labels. Main thread, with a Qt GUI application.
[[nodiscard]] const QFont& hintFont();

/// Animates a layer: turns the model into the marks to draw at a moment. Independent of windows and
/// clocks. Main thread.
class HintMotion {
public:
    explicit HintMotion(const QList<HintBadge>& badges);

    /// Sets the targets of all animations from the model.
    void update(const HintOverlayModel& model, bool reducedMotion);
    void advance(double seconds);
    [[nodiscard]] bool isMoving() const;
    [[nodiscard]] HintRecord present() const;

private:
    struct Badge {
        HintBadge badge;
        QSizeF label;
        Animated matching{1};
        Animated lit; ///< 1 while letters are typed and this one matches
    };

    std::vector<Badge> m_badges;
    Animated m_presented;
    QString m_typed;
};

} // namespace murlo
