#include "overlay/NonKeyPanel.h"

#include "look/Words.h"

#include "overlay/CardDamage.h"
#include "overlay/CardPainter.h"
#include "overlay/Placement.h"

#include <QCursor>
#include <QGuiApplication>
#include <QPaintEvent>
#include <QPainter>
#include <QScreen>
#include <QWindow>

namespace murlo {

namespace {

constexpr double longestStep = 0.1; ///< seconds of motion that one frame may skip

} // namespace

NonKeyPanel::NonKeyPanel(OverlayModel& model, Scheduler& scheduler, Desktop& desktop)
    : QWidget(nullptr, Qt::ToolTip | Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint |
                           Qt::WindowStaysOnTopHint | Qt::WindowTransparentForInput |
                           Qt::WindowDoesNotAcceptFocus | Qt::NoDropShadowWindowHint)
    , m_model(model)
    , m_scheduler(scheduler)
    , m_desktop(desktop) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setWindowTitle(QStringLiteral("Murlo"));
    setAccessibleName(Words::shown(Word::dictation));
    resize(static_cast<int>(CardMetrics::panelWidth), static_cast<int>(CardMetrics::panelHeight));
    for (const auto signal : {&OverlayModel::stateChanged, &OverlayModel::barsChanged,
                              &OverlayModel::elapsedChanged, &OverlayModel::wordsChanged})
        connect(&model, signal, this, &NonKeyPanel::modelChanged);
    connect(&model, &OverlayModel::presentedChanged, this, &NonKeyPanel::presentedChanged);
    followScreens();
    warmFonts();
    create(); // the window itself, not yet on the screen
}

NonKeyPanel::~NonKeyPanel() = default;

const CardMetrics::Motions& NonKeyPanel::motions() const {
    return m_desktop.reducesMotion() ? CardMetrics::reduced : CardMetrics::lively;
}

CardSurface NonKeyPanel::surface() const {
    return m_desktop.isComposited() ? CardSurface::translucent : CardSurface::opaque;
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
    QImage canvas(size(), QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&canvas);
    paintCard(painter, motion.present(), surface());
}

void NonKeyPanel::followScreens() {
    const auto followOne = [this](QScreen* screen) {
        connect(screen, &QScreen::geometryChanged, this, &NonKeyPanel::screensChanged);
        connect(screen, &QScreen::availableGeometryChanged, this, &NonKeyPanel::screensChanged);
    };
    for (QScreen* screen : QGuiApplication::screens()) followOne(screen);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, followOne);
    for (const auto signal : {&QGuiApplication::screenAdded, &QGuiApplication::screenRemoved,
                              &QGuiApplication::primaryScreenChanged})
        connect(qGuiApp, signal, this, &NonKeyPanel::screensChanged);
}

void NonKeyPanel::screensChanged() {
    // On a later turn: by then the toolkit has moved the window of a screen that went away.
    m_scheduler.nextTurn(m_lifetime.guard([this] {
        if (m_up) orderFront();
    }));
}

void NonKeyPanel::place() {
    QList<ScreenFrame> screens;
    for (const QScreen* screen : QGuiApplication::screens()) // the primary one comes first
        screens.append({screen->geometry(), screen->availableGeometry()});
    const QRect frame = cardPlacement(screens, QCursor::pos());
    if (!frame.isEmpty()) setGeometry(frame);
}

void NonKeyPanel::orderFront() {
    m_up = true;
    place();
    m_motion.update(m_model, motions());
    takeFrame();
    shape();
    if (!isVisible()) show();
    raise();
    m_desktop.keepAbove(windowHandle()->winId(), PanelLevel::card);
    modelChanged();
}

void NonKeyPanel::orderOut() {
    m_up = false;
    m_clock.cancel();
    m_desktop.letGo(windowHandle()->winId());
    hide();
    // The next card begins from nothing.
    m_motion = {};
    m_record = {};
}

void NonKeyPanel::modelChanged() {
    if (!m_up || m_clock.isPending()) return;
    // However often the model changes, it is looked at once per frame.
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
    // Who has just asked for the card does not wait for its first frame.
    m_motion.update(m_model, motions());
    m_motion.advance(CardMetrics::frameInterval);
    m_lastFrame = m_scheduler.uptime();
    takeFrame();
    repaint();
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
    if (surface() == CardSurface::opaque && cardOutline(before) != cardOutline(m_record)) shape();
    if (const QRect changed = cardDamage(before, m_record); !changed.isEmpty()) update(changed);
}

void NonKeyPanel::shape() {
    if (surface() == CardSurface::translucent) {
        clearMask();
        return;
    }
    // An empty mask would be none at all, so what shows nothing keeps a pixel outside.
    const QRect nothing(-2, -2, 1, 1);
    setMask(m_record.card.isEmpty() ? QRegion(nothing)
                                    : QRegion(cardOutline(m_record).toFillPolygon().toPolygon()));
}

void NonKeyPanel::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.setClipRegion(event->region());
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(event->rect(), Qt::transparent);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    paintCard(painter, m_record, surface());
}

} // namespace murlo
