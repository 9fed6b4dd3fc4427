#include "hints/HintOverlay.h"

namespace murlo {

namespace {
constexpr double exitDuration = 0.5; // seconds
}

void HintOverlayModel::setTyped(const QString& typed) {
    if (m_typed == typed) return;
    m_typed = typed;
    Q_EMIT changed();
}

void HintOverlayModel::setPresented(bool presented) {
    if (m_presented == presented) return;
    m_presented = presented;
    Q_EMIT changed();
}

QList<HintBadge> badgesOf(const QList<InputTarget>& targets, const ScreenInfo& screen) {
    QList<HintBadge> badges;
    const double scale = screen.scale();
    for (const InputTarget& target : targets) {
        const QRectF& box = target.frame;
        if (!box.intersects(screen.device)) continue;
        const QPointF corner = (box.topLeft() - screen.device.topLeft()) / scale;
        badges.append({QUuid::createUuid(), target.hint, QRectF(corner, box.size() / scale)});
    }
    return badges;
}

HintOverlay::HintOverlay(Scheduler& scheduler, AskScreens screens, MakeHintLayer makeLayer)
    : m_scheduler(scheduler)
    , m_screens(std::move(screens))
    , m_makeLayer(std::move(makeLayer)) {}

void HintOverlay::show(const QList<InputTarget>& targets) {
    m_teardown.cancel();
    m_layers.clear();
    m_model.setTyped({});
    m_model.setPresented(false);
    for (const ScreenInfo& screen : m_screens()) {
        const QList<HintBadge> badges = badgesOf(targets, screen);
        if (!badges.isEmpty()) m_layers.push_back(m_makeLayer(m_model, screen, badges));
    }
    m_scheduler.nextTurn(m_lifetime.guard([this] {
        if (!m_teardown.isPending() && !m_layers.empty()) m_model.setPresented(true);
    }));
}

void HintOverlay::hide() {
    m_model.setPresented(false);
    if (!m_layers.empty())
        m_teardown = m_scheduler.after(exitDuration, [this] { m_layers.clear(); });
}

} // namespace murlo
