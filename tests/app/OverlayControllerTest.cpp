#include "overlay/OverlayController.h"
#include "tests/fakes/VirtualScheduler.h"

#include <QTest>

using namespace murlo;

namespace {

struct CountingPanel : OverlayPanel {
    explicit CountingPanel(int& counted)
        : shown(counted) {}
    void orderFront() override { shown = 1; }
    void orderOut() override { shown = 0; }
    int& shown;
};

} // namespace

class OverlayControllerTest : public QObject {
    Q_OBJECT

    VirtualScheduler m_scheduler;

private Q_SLOTS:
    void eachStateStaysUpForItsTime_data() {
        QTest::addColumn<DictationState::Case>("state");
        QTest::addColumn<double>("seconds"); // negative: until further notice
        QTest::newRow("listening") << DictationState::listening << -1.0;
        QTest::newRow("transcribing") << DictationState::transcribing << -1.0;
        QTest::newRow("enhancing") << DictationState::enhancing << -1.0;
        QTest::newRow("delivered") << DictationState::delivered << 1.15;
        QTest::newRow("failed") << DictationState::failed << 4.0;
    }
    void eachStateStaysUpForItsTime() {
        QFETCH(DictationState::Case, state);
        QFETCH(double, seconds);
        int onScreen = 0;
        OverlayController overlay(
            m_scheduler, [&](OverlayModel&) { return std::make_unique<CountingPanel>(onScreen); });
        overlay.show({state, "text"});
        QVERIFY(!overlay.model().isPresented()); // from the next turn on
        m_scheduler.advance(seconds < 0 ? 3600 : seconds - 0.01);
        QVERIFY(overlay.model().isPresented() && onScreen);
        if (seconds < 0) return;
        m_scheduler.advance(0.02);
        QVERIFY(!overlay.model().isPresented());
        QCOMPARE(overlay.model().state().state, state); // while it leaves
        m_scheduler.advance(0.3);
        QCOMPARE(overlay.model().state().state, DictationState::idle);
        QVERIFY(!onScreen);
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
};

QTEST_GUILESS_MAIN(OverlayControllerTest)
#include "OverlayControllerTest.moc"
