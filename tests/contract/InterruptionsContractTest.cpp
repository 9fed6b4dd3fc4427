#include "platform/linux/x11/windows/X11Interruptions.h"

#include <QTest>
#include <QWindow>

#include <xcb/xtest.h>

using namespace murlo;

/// What another program and the user's mouse do to the display.
class InterruptionsContractTest : public QObject {
    Q_OBJECT

    XcbConnection m_user;
    XcbAtoms m_atoms{m_user};

    QWindow m_window; ///< under the pointer: a window manager takes clicks beside windows

    void movePointer(const QPoint& inWindow) const {
        const QPoint at = m_window.mapToGlobal(inWindow);
        xcb_test_fake_input(m_user, XCB_MOTION_NOTIFY, 0, 0, m_user.root(),
                            static_cast<qint16>(at.x()), static_cast<qint16>(at.y()), 0);
    }
    void click(quint8 button) const {
        for (const quint8 event : {XCB_BUTTON_PRESS, XCB_BUTTON_RELEASE})
            xcb_test_fake_input(m_user, event, button, 0, m_user.root(), 0, 0, 0);
    }
    void carryOut(const QString& deed) {
        movePointer({deed == "pointer" ? 60 : 30, 30});
        if (deed.endsWith("click") || deed == "wheel")
            click(deed == "wheel" ? 5 : deed == "left click" ? 1 : 3);
        const QString property = deed == "desktop" ? "_NET_CURRENT_DESKTOP" : "_MURLO_TEST";
        const quint32 value = 1;
        if (deed == "desktop" || deed == "property")
            xcb_change_property(m_user, XCB_PROP_MODE_REPLACE, m_user.root(),
                                m_atoms.atom(property), XCB_ATOM_CARDINAL, 32, 1, &value);
        m_user.sync();
    }

private Q_SLOTS:
    void initTestCase() {
        m_window.setGeometry(100, 100, 300, 200);
        m_window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&m_window));
    }

    void whatTheUserDoesElsewhereIsToldWhileSomebodyWatches_data() {
        QTest::addColumn<bool>("interrupts");
        QTest::newRow("left click") << true;
        QTest::newRow("right click") << true;
        QTest::newRow("wheel") << false;
        QTest::newRow("pointer") << false;
        QTest::newRow("desktop") << true;
        QTest::newRow("property") << false;
    }
    void whatTheUserDoesElsewhereIsToldWhileSomebodyWatches() {
        QFETCH(bool, interrupts);
        const QString deed = QTest::currentDataTag();
        X11Interruptions interruptions;
        int told = 0;
        interruptions.onInterruption = [&] { ++told; };
        carryOut(deed);
        QTest::qWait(50);
        QCOMPARE(told, 0);
        interruptions.setWatching(true);
        carryOut(deed);
        if (interrupts)
            QTRY_COMPARE(told, 1);
        else
            QTest::qWait(100);
        QCOMPARE(told, int(interrupts));
        interruptions.setWatching(false);
        carryOut(deed);
        QTest::qWait(50);
        QCOMPARE(told, int(interrupts));
    }
};

QTEST_MAIN(InterruptionsContractTest)
#include "InterruptionsContractTest.moc"
