#include "platform/linux/x11/windows/X11Interruptions.h"

#include <QTest>

#include <xcb/xtest.h>

using namespace murlo;

/// What another program and the user's mouse do to the display.
class InterruptionsContractTest : public QObject {
    Q_OBJECT

    XcbConnection m_user;
    XcbAtoms m_atoms{m_user};

    void click(quint8 button) const {
        for (const quint8 event : {XCB_BUTTON_PRESS, XCB_BUTTON_RELEASE})
            xcb_test_fake_input(m_user, event, button, 0, m_user.root(), 0, 0, 0);
    }
    void carryOut(const QString& deed) {
        if (deed == "left click") click(1);
        if (deed == "right click") click(3);
        if (deed == "wheel") click(5);
        if (deed == "pointer")
            xcb_test_fake_input(m_user, XCB_MOTION_NOTIFY, 0, 0, m_user.root(), 30, 30, 0);
        const QString property = deed == "desktop" ? "_NET_CURRENT_DESKTOP" : "_MURLO_TEST";
        const quint32 value = 1;
        if (deed == "desktop" || deed == "property")
            xcb_change_property(m_user, XCB_PROP_MODE_REPLACE, m_user.root(),
                                m_atoms.atom(property), XCB_ATOM_CARDINAL, 32, 1, &value);
        m_user.sync();
    }

private Q_SLOTS:
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
