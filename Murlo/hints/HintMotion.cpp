#include "hints/HintMotion.h"

#include <QFontDatabase>
#include <QFontMetricsF>

#include <algorithm>

namespace murlo {

namespace {

constexpr double washOpacity = 0.16;
constexpr double quietStroke = 1.5;
constexpr double litStroke = 2.5;
constexpr double quietOpacity = 0.75;
constexpr double fadedOpacity = 0.08;
constexpr double litFill = 0.18;
constexpr double paddingAcross = 6;
constexpr double paddingAlong = 2.5;
constexpr double screenEdge = 2; ///< labels keep this far from the screen's top and left
constexpr double fadedScale = 0.9;
constexpr double fadedLabel = 0.35;

constexpr Motion coming{Motion::spring, 0.34, 1.0};
constexpr Motion typing{Motion::spring, 0.28, 0.86};
constexpr Motion comingReduced{Motion::easeOut, 0.16, 1.0};
constexpr Motion typingReduced{Motion::easeOut, 0.14, 1.0};

double between(double from, double to, double part) {
    return from + (to - from) * part;
}

} // namespace

const QFont& hintFont() {
    static const QFont font = [] {
        QFont mono = QFontDatabase::systemFont(QFontDatabase::FixedFont);
        mono.setPixelSize(12);
        mono.setWeight(QFont::Bold);
        mono.setLetterSpacing(QFont::AbsoluteSpacing, 0.4);
        mono.setHintingPreference(QFont::PreferNoHinting);
        return mono;
    }();
    return font;
}

HintMotion::HintMotion(const QList<HintBadge>& badges) {
    const QFontMetricsF metrics(hintFont());
    for (const HintBadge& badge : badges) {
        Badge own;
        own.badge = badge;
        own.label = {std::ceil(metrics.horizontalAdvance(badge.hint)) + 2 * paddingAcross,
                     std::ceil(metrics.ascent() + metrics.descent()) + 2 * paddingAlong};
        m_badges.push_back(std::move(own));
    }
}

void HintMotion::update(const HintOverlayModel& model, bool reducedMotion) {
    m_presented.moveTo(model.isPresented() ? 1 : 0, reducedMotion ? comingReduced : coming);
    m_typed = model.typed();
    const Motion& motion = reducedMotion ? typingReduced : typing;
    for (Badge& badge : m_badges) {
        const bool matches = badge.badge.hint.startsWith(m_typed);
        badge.matching.moveTo(matches ? 1 : 0, motion);
        badge.lit.moveTo(matches && !m_typed.isEmpty() ? 1 : 0, motion);
    }
}

void HintMotion::advance(double seconds) {
    m_presented.advance(seconds);
    for (Badge& badge : m_badges) {
        badge.matching.advance(seconds);
        badge.lit.advance(seconds);
    }
}

bool HintMotion::isMoving() const {
    return !m_presented.isSettled() || std::ranges::any_of(m_badges, [](const Badge& badge) {
        return !badge.matching.isSettled() || !badge.lit.isSettled();
    });
}

HintRecord HintMotion::present() const {
    HintRecord record;
    record.presented = std::clamp(m_presented.value(), 0.0, 1.0);
    record.wash = washOpacity * record.presented;
    record.marks.reserve(m_badges.size());
    for (const Badge& badge : m_badges) {
        const double matching = std::clamp(badge.matching.value(), 0.0, 1.0);
        const double lit = std::clamp(badge.lit.value(), 0.0, 1.0);
        HintMark mark;
        mark.outline = badge.badge.rect;
        mark.stroke = between(quietStroke, litStroke, lit);
        mark.fill = litFill * lit;
        mark.opacity = between(fadedOpacity, between(quietOpacity, 1, lit), matching);
        const QPointF corner = badge.badge.rect.topLeft();
        mark.label =
            QRectF(QPointF(std::max(std::round(corner.x() - badge.label.width() / 2), screenEdge),
                           std::max(std::round(corner.y() - badge.label.height() / 2), screenEdge)),
                   badge.label);
        const bool matches = badge.badge.hint.startsWith(m_typed);
        const qsizetype done = matches ? m_typed.size() : 0;
        mark.typed = badge.badge.hint.left(done);
        mark.rest = badge.badge.hint.mid(done);
        mark.matching = matching;
        mark.labelScale = between(fadedScale, 1, matching);
        mark.labelOpacity = between(fadedLabel, 1, matching);
        record.marks.push_back(mark);
    }
    return record;
}

} // namespace murlo
