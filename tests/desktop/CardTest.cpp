#include "platform/linux/x11/XcbConnection.h"
#include "tests/harness/desktop/TestDesk.h"
#include "tests/harness/desktop/Windows.h"

#include <QWidget>

using namespace murlo;

namespace {

/// A window of some other program over the whole screen, with the keyboard.
class FullScreen : public QWidget {
public:
    FullScreen() {
        setFocusPolicy(Qt::StrongFocus);
        showFullScreen();
        activateWindow();
    }
    int presses = 0;
    int focusLosses = 0;

protected:
    void mousePressEvent(QMouseEvent* /*event*/) override { ++presses; }
    void focusOutEvent(QFocusEvent* /*event*/) override { ++focusLosses; }
};

} // namespace

/// The recording card on a real desktop: seen above everything, and in nobody's way.
class CardTest : public QObject {
    Q_OBJECT

    XcbConnection m_x;
    std::unique_ptr<TestDesk> m_desk;

    /// Of each window that is seen, the lowest first: whether it is the card.
    QList<bool> cards() const {
        QList<bool> found;
        const auto tree = m_x.reply(xcb_query_tree_reply, xcb_query_tree(m_x, m_x.root()));
        for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
            const xcb_window_t window = xcb_query_tree_children(tree.get())[i];
            const auto facts =
                m_x.reply(xcb_get_window_attributes_reply, xcb_get_window_attributes(m_x, window));
            const auto place = m_x.reply(xcb_get_geometry_reply, xcb_get_geometry(m_x, window));
            if (facts && place && facts->map_state == XCB_MAP_STATE_VIEWABLE &&
                facts->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT)
                found.append(facts->override_redirect && place->width == 480 &&
                             place->height == 200);
        }
        return found;
    }
    bool cardIsUp() const { return cards().contains(true); }

    void cancel() {
        m_desk->keyboard.tap("ESC");
        QVERIFY(m_desk->murlo.awaitLog("dictation: cancelled"));
    }

private Q_SLOTS:
    void init() {
        m_desk = std::make_unique<TestDesk>();
        QVERIFY(m_desk->startMurlo());
    }
    void cleanup() { m_desk.reset(); }

    void theCardIsAboveEverythingAndTakesNeitherFocusNorClicks() {
        FullScreen target;
        QTRY_VERIFY(target.hasFocus());
        target.focusLosses = 0;
        QVERIFY(m_desk->begin());
        QTRY_VERIFY(cards().last());
        clickAt({640, 790});
        QTRY_COMPARE(target.presses, 1);
        cancel();
        QTRY_VERIFY(!cardIsUp());
        QCOMPARE(target.focusLosses, 0);

        // A full-screen window that comes later does not cover it either.
        QVERIFY(m_desk->begin());
        QTRY_VERIFY(cardIsUp());
        const auto before = cards().size();
        const FullScreen later;
        QTRY_VERIFY(cards().size() > before && cards().last());
    }

    void aFailureGoesByItselfUnlessANewSessionBegins() {
        QVERIFY(TestDesk::soundServer("stop"));
        m_desk->doubleTap();
        QVERIFY(m_desk->murlo.awaitLog("No microphone found"));
        m_desk->expectTrouble("transcribe_failed: AudioRecorder.RecorderError 0");
        QTRY_VERIFY(cardIsUp());
        QVERIFY(waitFor([this] { return !cardIsUp(); }));

        QVERIFY(TestDesk::soundServer("start"));
        QVERIFY(m_desk->begin());
        QTRY_VERIFY(cardIsUp());
        cancel();
        // Within the time that the card takes to leave.
        QVERIFY(m_desk->begin());
        QVERIFY(!waitFor([this] { return !cardIsUp(); }, 2000));
    }
};

QTEST_MAIN(CardTest)
#include "CardTest.moc"
