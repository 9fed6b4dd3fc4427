#include "look/Words.h"
#include "overlay/CardDamage.h"
#include "overlay/CardPainter.h"
#include "overlay/NonKeyPanel.h"
#include "overlay/OverlayController.h"
#include "overlay/StatusRow.h"
#include "overlay/TranscriptTypesetter.h"
#include "tests/fakes/FakeDesktop.h"
#include "tests/fakes/FakeSurfaces.h"
#include "tests/fakes/VirtualScheduler.h"
#include "tests/harness/Rows.h"

using namespace murlo;

namespace {

/// A panel that only tells whether it is shown.
struct CountingPanel : OverlayPanel {
    explicit CountingPanel(int& counted)
        : shown(counted) {}
    void orderFront() override { shown = 1; }
    void orderOut() override { shown = 0; }
    int& shown;
};

/// The card as it stands once nothing moves any more, but for turning symbols.
CardRecord atRest(const DictationState& state, const QString& words = {}, double elapsed = 0) {
    OverlayModel model;
    CardMotion motion;
    model.setState(state);
    motion.update(model, CardMetrics::lively);
    model.setPresented(true);
    model.setElapsed(elapsed);
    model.setWords(transcriptWords(wordsOf(words)));
    motion.update(model, CardMetrics::lively);
    for (int i = 0; i < 300; ++i) motion.advance(CardMetrics::frameInterval);
    return motion.present();
}

/// The card's window, as it stands in front of the desktop.
struct Panel {
    VirtualScheduler scheduler;
    FakeDesktop desktop;
    FakeSurfaces surfaces;
    OverlayModel model;
    NonKeyPanel panel{model, scheduler, desktop, surfaces};
    const FakeSurfaces::Picture& picture = *surfaces.made.front();
};

QStringList rowTexts(const CardRecord& card) {
    QStringList texts;
    for (const CardText& text : card.rows.last().row.texts) texts.append(text.text);
    return texts;
}

} // namespace

/// The card that tells of a dictation: when it is there, what it shows, and how it moves.
class OverlayTest : public QObject {
    Q_OBJECT

    VirtualScheduler m_scheduler;

private Q_SLOTS:
    void eachStateStaysUpForItsTime() {
        using enum DictationState::Case;
        for (const auto& [state, seconds] : // 0: until further notice
             {std::pair(listening, 0.0), std::pair(transcribing, 0.0), std::pair(enhancing, 0.0),
              std::pair(delivered, 1.15), std::pair(failed, 4.0)}) {
            int onScreen = 0;
            OverlayController overlay(m_scheduler, [&](OverlayModel&) {
                return std::make_unique<CountingPanel>(onScreen);
            });
            overlay.show({state, "text"});
            QVERIFY(!overlay.model().isPresented()); // from the next turn on
            m_scheduler.advance(seconds == 0 ? 3600 : seconds - 0.01);
            QVERIFY(overlay.model().isPresented() && onScreen);
            if (seconds == 0) continue;
            m_scheduler.advance(0.02);
            QVERIFY(!overlay.model().isPresented());
            QCOMPARE(overlay.model().state().state, state); // while it leaves
            m_scheduler.advance(0.3);
            QCOMPARE(overlay.model().state().state, DictationState::idle);
            QVERIFY(!onScreen);
        }
    }

    void theLastOfSeveralQuickCallsCounts() {
        OverlayController overlay(m_scheduler);
        overlay.show({DictationState::listening, {}});
        overlay.hide(); // before it appeared
        m_scheduler.runPending();
        QVERIFY(!overlay.model().isPresented());
        overlay.show({DictationState::delivered, "text"});
        m_scheduler.advance(1.0);
        overlay.show({DictationState::listening, {}});
        m_scheduler.advance(10);
        QVERIFY(overlay.model().isPresented());
        overlay.hide();
        m_scheduler.advance(0.2);
        overlay.show({DictationState::listening, {}}); // while it leaves
        m_scheduler.advance(10);
        QVERIFY(overlay.model().isPresented());
        QCOMPARE(overlay.model().state().state, DictationState::listening);
    }

    void whatBelongedToTheRecordingIsGoneAfterwards() {
        OverlayController overlay(m_scheduler);
        overlay.show({DictationState::listening, {}});
        overlay.model().push(1.0F);
        overlay.model().setElapsed(3);
        overlay.model().setWords({TranscriptWord(0, "hello")});
        overlay.show({DictationState::idle, {}});
        m_scheduler.advance(0.3);
        QCOMPARE(overlay.model().bars(), QList<double>(58, 0.0));
        QCOMPARE(overlay.model().elapsed(), 0.0);
        QVERIFY(overlay.model().words().isEmpty());
        overlay.model().push(1.0F);
        QCOMPARE(overlay.model().bars().last(), 0.55); // the smoothing began anew
    }

    void loudnessBecomesASmoothedBar() {
        OverlayModel quiet;
        quiet.push(0.01F); // -40 dB
        QVERIFY(qAbs(quiet.bars().last() - 12.0 / 46 * 0.55) < 1e-6);
        OverlayModel loud;
        loud.push(1);
        loud.push(1);
        QVERIFY(qAbs(loud.bars().last() - 0.7975) < 1e-9);
        for (int i = 0; i < 60; ++i) loud.push(1);
        loud.push(0);
        QVERIFY(qAbs(loud.bars().last() - 0.82) < 1e-3);
        QCOMPARE(loud.bars().size(), 58);
    }

    void wordsThatWouldCrossTheEdgeBeginTheNextLine() {
        // Widths that no font decides.
        for (const auto& [word, width] :
             {std::pair("w188", 188.0), std::pair("w189", 189.0), std::pair("w500", 500.0)})
            TranscriptTypesetter::widthCache().insert(word, width);
        const auto places = TranscriptTypesetter::layout(
            transcriptWords({"w188", "w188", "w188", "w189", "w500", "w188"}), 380);
        QList<QPair<double, int>> got;
        for (const PlacedWord& place : places) got.append({place.x, place.line});
        QCOMPARE(got,
                 (QList<QPair<double, int>>{{0, 0}, {192, 0}, {0, 1}, {0, 2}, {0, 3}, {0, 4}}));
    }

    void theLastTwoLinesAreSeen() {
        TranscriptTypesetter::widthCache().insert("wide", 380);
        double lower = 0;
        for (int lines = 1; lines <= 4; ++lines) {
            const CardRecord card =
                atRest({DictationState::listening, {}}, QStringLiteral("wide ").repeated(lines));
            QCOMPARE(card.words.size(), std::min(lines, 2));
            QCOMPARE(card.transcript.height(), lines == 1 ? 24.0 : 58.0);
            QCOMPARE(card.fade, lines == 1 ? 0.0 : 10.0);
            QCOMPARE(card.words.last().baseline.y() - card.transcript.bottom(), 17.0 - 24);
            if (lines > 1) QCOMPARE(card.words[1].baseline.y() - card.words[0].baseline.y(), 24.0);
            // What is there stays where it is while lines are added above.
            if (lines > 1) QCOMPARE(card.words.last().baseline.y(), lower);
            lower = card.words.last().baseline.y();
        }
        const DictationState failed{DictationState::failed, {}, Word::noModel};
        QVERIFY(atRest(failed, "some words").words.isEmpty());
    }

    void aMessageIsReadableInsideThePanel_data() {
        const Rows<QString, bool> row; // whether all of it is shown
        row("short", "Nothing was transcribed.", true);
        row("two lines", Words::english(Word::copied + Message(Word::noTextBox)), true);
        row("no blanks", QString(2000, 'x'), false);
        row("endless", QStringLiteral("It failed and failed. ").repeated(60), false);
    }
    void aMessageIsReadableInsideThePanel() {
        const auto [message, whole] = fetch<QString, bool>();
        const CardRecord card = atRest({DictationState::failed, {}, {Word::asReported, {message}}});
        QVERIFY(QRectF(0, 0, 480, 200).contains(card.card));
        const QString shown = rowTexts(card).join(' ');
        QCOMPARE(shown.endsWith(QChar(0x2026)), !whole);
        if (whole) QCOMPARE(shown, message);
        for (const CardText& text : card.rows.last().row.texts) {
            const double right = card.rows.last().origin.x() + text.baseline.x() +
                                 QFontMetricsF(cardFont(text.font)).horizontalAdvance(text.text);
            QVERIFY(right <= card.card.right());
        }
    }

    void theClockDoesNotMoveWhileItCounts() {
        const auto cells = [](double elapsed, const QString& shown) {
            const CardRecord card = atRest({DictationState::listening, {}}, {}, elapsed);
            QList<double> middles;
            for (const CardText& cell : card.rows.last().row.texts) {
                const QFontMetricsF metrics(cardFont(CardFont::clock));
                middles.append(cell.baseline.x() + metrics.horizontalAdvance(cell.text) / 2);
            }
            QStringList texts = rowTexts(card);
            std::ranges::sort(middles);
            std::ranges::reverse(texts);
            return texts.join(QString()) == shown ? middles : QList<double>();
        };
        QCOMPARE(cells(71.9, "1:11").size(), 4);
        QCOMPARE(cells(71.9, "1:11"), cells(548, "9:08"));
    }

    void whatIsPaintedAnewIsAllThatChanged() {
        OverlayModel model;
        CardMotion motion;
        QImage kept(480, 200, QImage::Format_ARGB32_Premultiplied);
        kept.fill(Qt::transparent);
        CardRecord shown;
        double spared = 0;
        const QStringList said =
            wordsOf(QStringLiteral("Jiffy words that fly (in) one by one, ").repeated(5));
        for (int frame = 0; frame < 400; ++frame) {
            model.setState(
                {frame < 300 ? DictationState::listening : DictationState::transcribing, {}});
            model.setPresented(frame > 0 && frame < 380);
            model.setElapsed(frame / 60.0);
            if (frame % 5 == 0 && frame < 300) model.push(static_cast<float>(frame % 7) / 10);
            if (frame % 40 == 0)
                model.setWords(transcriptWords(said.mid(0, frame / (frame % 80 ? 12 : 24))));
            motion.update(model, CardMetrics::lively);
            motion.advance(CardMetrics::frameInterval);
            const CardRecord before = std::exchange(shown, motion.present());
            const QRect changed = cardDamage(before, shown);
            spared += 1 - double(changed.width() * changed.height()) / (480 * 200);
            QImage whole(kept.size(), kept.format());
            whole.fill(Qt::transparent);
            QPainter onto(&whole);
            paintCard(onto, shown, CardSurface::translucent);
            QPainter over(&kept);
            over.setClipRect(changed);
            over.setCompositionMode(QPainter::CompositionMode_Source);
            over.fillRect(changed, Qt::transparent);
            over.setCompositionMode(QPainter::CompositionMode_SourceOver);
            if (!changed.isEmpty()) paintCard(over, shown, CardSurface::translucent);
            QVERIFY2(kept == whole, qPrintable(QStringLiteral("frame %1").arg(frame)));
        }
        QVERIFY(spared > 200); // of 400 frames
        CardRecord there;      // a word that moves leaves its old place, too
        there.card = {0, 0, 480, 200};
        there.words = {{}};
        there.words[0].baseline = {10, 50};
        CardRecord here = there;
        here.words[0].baseline = {10, 150};
        QVERIFY(cardDamage(there, here).contains(QPoint(20, 45)));
    }

    void nothingTicksWhileTheCardIsStillOrHidden() {
        Panel on;
        auto& [scheduler, desktop, surfaces, model, panel, card] = on;
        model.push(0.3F);
        QCOMPARE(scheduler.pendingTimers(), 0);
        model.setState({DictationState::delivered, {}});
        panel.orderFront();
        model.setPresented(true);
        QVERIFY(card.shown && !card.shape);
        QCOMPARE(scheduler.pendingTimers(), 1);
        scheduler.advance(3);
        QCOMPARE(scheduler.pendingTimers(), 0);
        model.setState({DictationState::enhancing, {}});
        scheduler.advance(3);
        QCOMPARE(scheduler.pendingTimers(), 1); // its wand twinkles
        desktop.reduced = true;
        scheduler.advance(1);
        QCOMPARE(scheduler.pendingTimers(), 0);
        model.push(0.5F);
        model.push(0.6F);
        QCOMPARE(scheduler.pendingTimers(), 1); // for both
        panel.orderOut();
        QCOMPARE(scheduler.pendingTimers(), 0);
        QVERIFY(!card.shown);
    }

    void whoWantsLessMotionSeesFadesAlone() {
        for (const bool lively : {true, false}) {
            OverlayModel model;
            CardMotion motion;
            bool faded = false;
            bool moved = false;
            const auto pass = [&](double seconds) {
                for (double t = 0; t < seconds; t += CardMetrics::frameInterval) {
                    motion.update(model, lively ? CardMetrics::lively : CardMetrics::reduced);
                    motion.advance(CardMetrics::frameInterval);
                    const CardRecord card = motion.present();
                    faded = faded || (card.opacity > 0 && card.opacity < 1);
                    moved = moved || card.scale != 1 || card.lift != 0;
                    for (const CardText& word : card.words) {
                        faded = faded || (word.opacity > 0 && word.opacity < 1);
                        moved = moved || word.scale != 1 || word.blur != 0;
                    }
                }
            };
            const auto verify = [&] {
                QVERIFY(std::exchange(faded, false));
                QCOMPARE(std::exchange(moved, false), lively);
            };
            model.setState({DictationState::listening, {}});
            pass(0.1);
            model.setPresented(true);
            pass(5);
            verify(); // it comes
            model.setWords(transcriptWords({"some", "words"}));
            pass(5);
            verify(); // they come
            model.setState({DictationState::transcribing, {}});
            pass(5);
            QVERIFY(motion.isMoving()); // its circle tells that something happens
            model.setState({DictationState::enhancing, {}});
            pass(5);
            QCOMPARE(motion.isMoving(), lively);
            model.setPresented(false);
            pass(5);
            verify(); // it goes
        }
    }

    void theCardStandsOnThePointersScreen() {
        Panel on;
        FakeSurfaces& surfaces = on.surfaces;
        surfaces.onScreens = {
            {{0, 0, 1920, 1080}, {0, 0, 1920, 1040}, {}},
            {{1920, -200, 1280, 1024}, {1920, -200, 1280, 1024}, {}},
        };
        const auto standsAt = [&](const std::optional<QPoint>& pointer) {
            surfaces.at = pointer;
            return on.picture.frame();
        };
        QCOMPARE(standsAt(QPoint(5, 5)), QRect(720, 766, 480, 200));
        QCOMPARE(standsAt(QPoint(1920, -200)), QRect(2320, 550, 480, 200));
        QCOMPARE(standsAt(QPoint(-50, 9000)), QRect(720, 766, 480, 200));
        QCOMPARE(standsAt(std::nullopt), QRect(720, 766, 480, 200));
        surfaces.onScreens.clear();
        QVERIFY(standsAt(QPoint(5, 5)).isEmpty());
    }

    void withoutACompositorNothingBlackSurroundsTheCard() {
        Panel on;
        auto& [scheduler, desktop, surfaces, model, panel, card] = on;
        surfaces.translucent = false;
        panel.orderFront();
        QVERIFY(card.shape && card.shape->isEmpty());
        model.setState({DictationState::listening, {}});
        model.setPresented(true);
        scheduler.advance(1);
        QVERIFY(card.shape && !card.shape->isEmpty());
        // What the shape leaves is opaque, but for the rim that smooths its corners.
        const QImage image = card.paint();
        const QRect inner = card.shape->boundingRect().adjusted(24, 1, -24, -1);
        QCOMPARE(qAlpha(image.pixel(inner.topLeft())), 255);
        QCOMPARE(qAlpha(image.pixel(inner.bottomRight())), 255);
    }
};

QTEST_MAIN(OverlayTest)
#include "OverlayTest.moc"
