#include "overlay/NonKeyPanel.h"

#include "look/Words.h"
#include "overlay/CardDamage.h"
#include "overlay/CardPainter.h"

#include <algorithm>

namespace murlo {

namespace {

constexpr double longestStep = 0.1; ///< seconds of motion that one frame may skip

} // namespace

NonKeyPanel::NonKeyPanel(OverlayModel& model, Scheduler& scheduler, Desktop& desktop,
                         Surfaces& surfaces)
    : m_model(model)
    , m_scheduler(scheduler)
    , m_desktop(desktop)
    , m_surfaces(surfaces)
    , m_surface(surfaces.make({
          .title = QStringLiteral("Murlo"),
          .accessibleName = Words::shown(Word::dictation),
          .level = SurfaceLevel::card,
          .place = AboveBottom{CardMetrics::panelSize, CardMetrics::aboveScreenBottom},
          .paint = [this](QPainter& painter) { paintCard(painter, m_record, background()); },
      })) {
    for (const auto signal : {&OverlayModel::stateChanged, &OverlayModel::barsChanged,
                              &OverlayModel::elapsedChanged, &OverlayModel::wordsChanged})
        connect(&model, signal, this, &NonKeyPanel::modelChanged);
    connect(&model, &OverlayModel::presentedChanged, this, &NonKeyPanel::presentedChanged);
    warmFonts();
}

const CardMetrics::Motions& NonKeyPanel::motions() const {
    return m_desktop.reducesMotion() ? CardMetrics::reduced : CardMetrics::lively;
}

CardSurface NonKeyPanel::background() const {
    return m_surfaces.areTranslucent() ? CardSurface::translucent : CardSurface::opaque;
}

void NonKeyPanel::warmFonts() const {
    // Loading the fonts and drawing each letter for the first time is most of a first frame's time.
    OverlayModel sample;
    sample.setState({DictationState::listening, {}});
    sample.setElapsed(1234567.0 / 60);
    sample.setWords(transcriptWords(wordsOf(
        QStringLiteral("The quick brown fox jumps over the lazy dog's back, twice. Why? AI!"))));
    CardMotion motion;
    motion.update(sample, CardMetrics::reduced);
    sample.setPresented(true);
    motion.update(sample, CardMetrics::reduced);
    motion.advance(1);
    QImage canvas(CardMetrics::panelSize, QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&canvas);
    paintCard(painter, motion.present(), background());
}

void NonKeyPanel::orderFront() {
    m_up = true;
    m_motion.update(m_model, motions());
    takeFrame();
    shape();
    m_surface->show();
    modelChanged();
}

void NonKeyPanel::orderOut() {
    m_up = false;
    m_clock.cancel();
    m_surface->hide();
    // The next card starts from the hidden state.
    m_motion = {};
    m_record = {};
}

void NonKeyPanel::modelChanged() {
    if (!m_up || m_clock.isPending()) return;
    // The model is read once per frame, however often it changes.
    m_lastFrame = m_scheduler.uptime();
    m_motion.update(m_model, motions());
    awaitFrame();
}

void NonKeyPanel::awaitFrame() {
    const double interval =
        m_motion.movesAsAWhole() ? CardMetrics::frameInterval : CardMetrics::meterInterval;
    m_clock = m_scheduler.after(interval, [this] { tick(); });
}

void NonKeyPanel::presentedChanged() {
    modelChanged();
    if (!m_up || !m_model.isPresented()) return;
    // The first frame of a new card is drawn immediately.
    m_motion.update(m_model, motions());
    m_motion.advance(CardMetrics::frameInterval);
    m_lastFrame = m_scheduler.uptime();
    takeFrame();
    m_surface->flush();
}

void NonKeyPanel::tick() {
    const double now = m_scheduler.uptime();
    const double passed = std::clamp(now - std::exchange(m_lastFrame, now), 0.0, longestStep);
    m_motion.update(m_model, motions());
    m_motion.advance(passed);
    takeFrame();
    if (m_motion.isMoving()) awaitFrame();
}

void NonKeyPanel::takeFrame() {
    const CardRecord before = std::exchange(m_record, m_motion.present());
    if (background() == CardSurface::opaque && cardOutline(before) != cardOutline(m_record))
        shape();
    if (const QRect changed = cardDamage(before, m_record); !changed.isEmpty())
        m_surface->update(changed);
}

void NonKeyPanel::shape() {
    if (background() == CardSurface::translucent) return m_surface->setShape(std::nullopt);
    m_surface->setShape(m_record.card.isEmpty()
                            ? QRegion()
                            : QRegion(cardOutline(m_record).toFillPolygon().toPolygon()));
}

} // namespace murlo
