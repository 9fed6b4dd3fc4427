#include "platform/linux/x11/XcbConnection.h"
#include "tests/harness/desktop/Desk.h"
#include "tests/harness/desktop/Waiting.h"

#include <QMouseEvent>
#include <QTest>
#include <QWidget>

#include <xcb/xtest.h>

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
    void focusOutEvent(QFocusEvent* event) override {
        ++focusLosses;
        QWidget::focusOutEvent(event);
    }
};

} // namespace

/// The recording card on a real desktop: seen above everything, and in nobody's way.
class CardTest : public QObject {
    Q_OBJECT

    XcbConnection m_x;
    std::unique_ptr<Desk> m_desk;

    /// The windows on the screen, the lowest first.
    QList<xcb_window_t> windowsOnScreen() const {
        QList<xcb_window_t> mapped;
        const auto tree = m_x.reply(xcb_query_tree_reply, xcb_query_tree(m_x, m_x.root()));
        for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
            const xcb_window_t window = xcb_query_tree_children(tree.get())[i];
            const auto facts =
                m_x.reply(xcb_get_window_attributes_reply, xcb_get_window_attributes(m_x, window));
            if (facts && facts->map_state == XCB_MAP_STATE_VIEWABLE &&
                facts->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT)
                mapped.append(window);
        }
        return mapped;
    }

    bool isCard(xcb_window_t window) const {
        const auto facts =
            m_x.reply(xcb_get_window_attributes_reply, xcb_get_window_attributes(m_x, window));
        const auto place = m_x.reply(xcb_get_geometry_reply, xcb_get_geometry(m_x, window));
        return facts && facts->override_redirect && place && place->width == 480 &&
               place->height == 200;
    }

    bool cardIsUp() const {
        return std::ranges::any_of(windowsOnScreen(), [this](auto w) { return isCard(w); });
    }

    void clickOnTheCard() const {
        for (const auto& [type, detail, x, y] :
             {std::tuple(XCB_MOTION_NOTIFY, 0, 640, 790), std::tuple(XCB_BUTTON_PRESS, 1, 0, 0),
              std::tuple(XCB_BUTTON_RELEASE, 1, 0, 0)})
            xcb_test_fake_input(m_x, static_cast<uint8_t>(type), static_cast<uint8_t>(detail), 0,
                                m_x.root(), static_cast<int16_t>(x), static_cast<int16_t>(y), 0);
        m_x.sync();
    }

private Q_SLOTS:
    void init() {
        m_desk = std::make_unique<Desk>(MURLO_PROGRAM, MURLO_MODEL);
        QVERIFY(m_desk->startMurlo());
    }
    void cleanup() { m_desk.reset(); }

    void theCardIsAboveEverythingAndTakesNeitherFocusNorClicks() {
        FullScreen target;
        QTRY_VERIFY(target.hasFocus());
        target.focusLosses = 0;
        QVERIFY(m_desk->begin());
        QTRY_VERIFY(isCard(windowsOnScreen().last()));
        clickOnTheCard();
        QTRY_COMPARE(target.presses, 1);
        m_desk->keyboard.tap("ESC");
        QVERIFY(m_desk->murlo.awaitLog("dictation: cancelled"));
        QTRY_VERIFY(!cardIsUp());
        QCOMPARE(target.focusLosses, 0);

        // A full-screen window that comes later does not cover it either.
        QVERIFY(m_desk->begin());
        QTRY_VERIFY(cardIsUp());
        const auto before = windowsOnScreen().size();
        const FullScreen later;
        QTRY_VERIFY(windowsOnScreen().size() > before);
        QTRY_VERIFY(isCard(windowsOnScreen().last()));
    }

    void aFailureGoesByItselfUnlessANewSessionBegins() {
        const QString soundServer = QStringLiteral(MURLO_SOUND_SERVER);
        QCOMPARE(QProcess::execute(soundServer, {"stop"}), 0);
        m_desk->doubleTap();
        QVERIFY(m_desk->murlo.awaitLog("No microphone found"));
        m_desk->expectTrouble("transcribe_failed: AudioRecorder.RecorderError 0");
        QTRY_VERIFY(cardIsUp());
        QVERIFY(waitFor([this] { return !cardIsUp(); }));

        m_desk->murlo.forgetLog();
        QVERIFY(QProcess::startDetached(soundServer, {"start"}));
        QVERIFY(waitFor([] { return QProcess::execute("pactl", {"info"}) == 0; }));
        QVERIFY(m_desk->begin());
        QTRY_VERIFY(cardIsUp());
        m_desk->keyboard.tap("ESC");
        QVERIFY(m_desk->murlo.awaitLog("dictation: cancelled"));
        // Within the time that the card takes to leave.
        QVERIFY(m_desk->begin());
        QVERIFY(!waitFor([this] { return !cardIsUp(); }, 2000));
    }
};

QTEST_MAIN(CardTest)
#include "CardTest.moc"
