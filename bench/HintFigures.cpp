#include "Figures.h"
#include "hints/HintController.h"
#include "hints/HintPainter.h"
#include "hints/HintPanel.h"
#include "hints/InputScanner.h"
#include "platform/Platform.h"
#include "tests/harness/desktop/Waiting.h"

#include <QEventLoop>
#include <QImage>
#include <QTimer>

namespace murlo {

namespace {

constexpr int boxes = 200;
constexpr qint64 owner = 1; ///< process that the boxes are said to belong to
constexpr qint64 deleteKey = 51;
constexpr int keys = 12; ///< as many as there is time for before the letters go by themselves
constexpr int restMilliseconds = 500; ///< longer than any motion of the letters

/// An application that answers at once: `boxes` boxes all over the screen.
class ManyBoxes : public AccessibilityTree, public Applications {
public:
    ManyBoxes(Scheduler& scheduler, const QRectF& screen)
        : m_scheduler(scheduler)
        , m_screen(screen) {}

    [[nodiscard]] std::unique_ptr<TreeReading>
    read(qint64 /*pid*/, int /*mostWindows*/,
         std::function<void(const AccessibleApplication&)> done) override {
        AccessibleApplication application;
        auto& root = application.windows.emplace_back().root;
        root.facts.role = ElementRole::window;
        root.frame = m_screen;
        for (int i = 0; i < boxes; ++i) {
            AccessibleNode& box = root.children.emplace_back();
            box.facts.role = ElementRole::textField;
            box.facts.editable = true;
            box.frame = QRectF(10 + i % 10 * 125, 10 + i / 10 * 44, 110, 30);
        }
        m_scheduler.nextTurn([done = std::move(done), application] { done(application); });
        return std::make_unique<Told>();
    }

    [[nodiscard]] std::optional<qint64> frontmostPid() const override { return owner; }
    [[nodiscard]] QStringList focusedProgram() const override { return {}; }
    [[nodiscard]] std::optional<QString> identifier(qint64 /*pid*/) const override { return {}; }
    [[nodiscard]] std::optional<QString> name(qint64 /*pid*/) const override { return {}; }
    [[nodiscard]] QList<WindowInfo> windowsOnScreen() const override {
        return {{owner, {}, m_screen, m_screen, true}};
    }
    void activate(qint64 /*pid*/, const QString& /*title*/) override {}
    [[nodiscard]] bool click(qint64 /*pid*/, const QString& /*title*/,
                             const QRectF& /*box*/) override {
        return false;
    }

private:
    class Told : public TreeReading {
        void handOver() override {}
    };

    Scheduler& m_scheduler;
    QRectF m_screen; ///< its one window covers this
};

/// Painting the letters' first frame against filling the same picture once.
Figure firstFrame(const QList<InputTarget>& targets, const ScreenInfo& screen) {
    QImage image(screen.frame.size(), QImage::Format_ARGB32_Premultiplied);
    HintOverlayModel model;
    model.setPresented(true);
    const double painted = timed(31, [&] {
        HintMotion motion(badgesOf(targets, screen));
        motion.update(model, false);
        motion.advance(1.0 / 60);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        paintHints(painter, motion.present(), true);
    });
    const double filled = timed(31, [&] {
        QPainter painter(&image);
        painter.fillRect(image.rect(), QColor(0, 0, 0, 40));
    });
    return {QStringLiteral("first frame of %1 letters, painted").arg(targets.size()), painted * 1e3,
            QStringLiteral("ms"), filled * 1e3, QStringLiteral("filling the same area once")};
}

} // namespace

QList<Figure> hintFigures() {
    progress(QStringLiteral("keys while letters are on"));
    const Platform platform = loadPlatform();
    const AskScreens screens = [&platform] { return platform.surfaces->screens(); };
    ManyBoxes many(*platform.scheduler, screens().first().device);
    InputTargets targets(*platform.accessibility);
    InputScanner scanner(many, many, *platform.scheduler, screens, 0);
    HintOverlay overlay(*platform.scheduler, screens,
                        [&platform](HintOverlayModel& model, const ScreenInfo& screen,
                                    const QList<HintBadge>& badges) {
                            return std::make_unique<HintPanel>(
                                model, screen, badges, *platform.scheduler, *platform.desktop,
                                *platform.surfaces);
                        });
    HintController hints(*platform.scheduler, *platform.accessibility, targets, scanner,
                         *platform.interruptions, overlay);
    if (!waitFor([&] { return platform.accessibility->isTrusted(); })) return {};
    hints.begin();
    if (!waitFor([&] { return !hints.targets().isEmpty(); })) return {};
    const QList<InputTarget> labelled = hints.targets();
    const QString letter = labelled.last().hint.left(1); // the last one that is looked for
    // The letter and its deletion in turn, each when the last has come to rest: the labels follow
    // each time, and nothing is picked. What a key costs is processor time, its frames included.
    letPass(600);
    QList<double> handled;
    QList<double> withFrames;
    for (int i = 0; i < keys; ++i) {
        const double start = processSeconds();
        (void)(i % 2 == 0 ? hints.handleKey(letter, 0) : hints.handleKey({}, deleteKey));
        handled.append(processSeconds() - start);
        QEventLoop rest;
        QTimer::singleShot(restMilliseconds, &rest, &QEventLoop::quit);
        rest.exec();
        withFrames.append(processSeconds() - start);
    }
    hints.cancel();
    letPass(600);
    const auto figure = [&](const char* name, const QList<double>& took, double part, double aim,
                            const char* beside) {
        return Figure{QString::fromLatin1(name), quantile(took, part) * 1e3, QStringLiteral("ms"),
                      aim, QString::fromLatin1(beside)};
    };
    return {figure("one key at rest while 200 letters are on, judged, worst", handled, 1.0, 1,
                   "a millisecond of a typist's time"),
            figure("the same with all its frames, p50", withFrames, 0.5, 16.7, "a frame"),
            firstFrame(labelled, screens().first())};
}

} // namespace murlo
