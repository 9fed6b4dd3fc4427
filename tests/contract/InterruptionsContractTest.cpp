#include "platform/linux/x11/windows/X11Interruptions.h"

#include <QTest>
#include <QWindow>

#include <xcb/xtest.h>

using namespace murlo;

/// What another program and the user's mouse do to the display.
class InterruptionsContractTest : public QObject {
    Q_OBJECT

    XcbConnection m_user;

    void fake(quint8 event, quint8 detail, const QPoint& at = {}) const {
        xcb_test_fake_input(m_user, event, detail, 0, m_user.root(), static_cast<qint16>(at.x()),
                            static_cast<qint16>(at.y()), 0);
        m_user.sync();
    }
    void click(quint8 button) const {
        fake(XCB_BUTTON_PRESS, button);
        fake(XCB_BUTTON_RELEASE, button);
    }
    void write(const QString& property) const {
        const quint32 value = 1;
        xcb_change_property(m_user, XCB_PROP_MODE_REPLACE, m_user.root(), m_user.atom(property),
                            XCB_ATOM_CARDINAL, 32, 1, &value);
        m_user.sync();
    }

private Q_SLOTS:
    void clicksAndAnotherDesktopAreToldWhileSomebodyWatches() {
        QWindow window; // under the pointer: a window manager takes clicks beside windows
        window.setGeometry(100, 100, 300, 200);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        X11Interruptions interruptions;
        int told = 0;
        int expected = 0;
        interruptions.onInterruption = [&] { ++told; };
        for (const bool watching : {false, true, false}) {
            // The server holds clicks back while the window manager decides whose they are.
            QTest::qWait(100);
            interruptions.setWatching(watching);
            // Moving the pointer, turning the wheel and other properties interrupt nobody.
            for (const int x : {30, 60})
                fake(XCB_MOTION_NOTIFY, 0, window.mapToGlobal(QPoint(x, 30)));
            click(5);
            write("_MURLO_TEST");
            QTest::qWait(50);
            QCOMPARE(told, expected);
            for (const auto& deed : std::initializer_list<std::function<void()>>{
                     [this] { click(1); }, [this] { click(3); },
                     [this] { write("_NET_CURRENT_DESKTOP"); }}) {
                deed();
                expected += watching;
                QTRY_COMPARE(told, expected);
            }
        }
        QTest::qWait(50);
        QCOMPARE(told, expected);
    }
};

QTEST_MAIN(InterruptionsContractTest)
#include "InterruptionsContractTest.moc"
