#include "overlay/CardDamage.h"
#include "overlay/CardPainter.h"
#include "overlay/NonKeyPanel.h"
#include "overlay/StatusRow.h"
#include "overlay/TranscriptTypesetter.h"
#include "tests/fakes/FakeDesktop.h"
#include "tests/fakes/FakeSurfaces.h"
#include "tests/fakes/VirtualScheduler.h"

#include <QTest>

using namespace murlo;

namespace {

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

QStringList rowTexts(const CardRecord& card) {
    QStringList texts;
    for (const CardText& text : card.rows.last().row.texts) texts.append(text.text);
    return texts;
}

} // namespace

class RecordingCardTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
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
        QTest::addColumn<QString>("message");
        QTest::addColumn<bool>("whole");
        QTest::newRow("short") << "Nothing was transcribed." << true;
        QTest::newRow("two lines") << "Copied to clipboard. No text box has focus. Click into one "
                                      "and paste with Ctrl+V."
                                   << true;
        QTest::newRow("no blanks") << QString(2000, 'x') << false;
        QTest::newRow("endless") << QStringLiteral("It failed and failed. ").repeated(60) << false;
    }

    void aMessageIsReadableInsideThePanel() {
        QFETCH(QString, message);
        QFETCH(bool, whole);
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
    }

    void nothingTicksWhileTheCardIsStillOrHidden() {
        VirtualScheduler scheduler;
        FakeDesktop desktop;
        OverlayModel model;
        FakeSurfaces surfaces;
        NonKeyPanel panel(model, scheduler, desktop, surfaces);
        const FakeSurfaces::Picture& card = *surfaces.made.front();
        model.push(0.3F);
        QCOMPARE(scheduler.pendingTimers(), 0);
        model.setState({DictationState::delivered, {}});
        panel.orderFront();
        model.setPresented(true);
        QVERIFY(card.shown && !card.shape);
        QCOMPARE(scheduler.pendingTimers(), 1);
        scheduler.advance(3);
        QCOMPARE(scheduler.pendingTimers(), 0);
        model.push(0.5F);
        model.push(0.6F);
        QCOMPARE(scheduler.pendingTimers(), 1); // for both
        panel.orderOut();
        QCOMPARE(scheduler.pendingTimers(), 0);
        QVERIFY(!card.shown);
    }

    void theCardStandsOnThePointersScreen() {
        FakeSurfaces surfaces;
        surfaces.onScreens = {
            {{0, 0, 1920, 1080}, {0, 0, 1920, 1040}, {}},
            {{1920, -200, 1280, 1024}, {1920, -200, 1280, 1024}, {}},
        };
        VirtualScheduler scheduler;
        FakeDesktop desktop;
        OverlayModel model;
        const NonKeyPanel panel(model, scheduler, desktop, surfaces);
        const auto standsAt = [&](const std::optional<QPoint>& pointer) {
            surfaces.at = pointer;
            return surfaces.made.front()->frame();
        };
        QCOMPARE(standsAt(QPoint(5, 5)), QRect(720, 766, 480, 200));
        QCOMPARE(standsAt(QPoint(1920, -200)), QRect(2320, 550, 480, 200));
        QCOMPARE(standsAt(QPoint(-50, 9000)), QRect(720, 766, 480, 200));
        QCOMPARE(standsAt(std::nullopt), QRect(720, 766, 480, 200));
        surfaces.onScreens.clear();
        QVERIFY(standsAt(QPoint(5, 5)).isEmpty());
    }

    void withoutACompositorNothingBlackSurroundsTheCard() {
        FakeSurfaces surfaces;
        surfaces.translucent = false;
        VirtualScheduler scheduler;
        FakeDesktop desktop;
        OverlayModel model;
        NonKeyPanel panel(model, scheduler, desktop, surfaces);
        const FakeSurfaces::Picture& card = *surfaces.made.front();
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

QTEST_MAIN(RecordingCardTest)
#include "RecordingCardTest.moc"
