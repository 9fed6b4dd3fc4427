#include "tests/harness/desktop/Desk.h"
#include "tests/harness/desktop/TargetApp.h"

#include <QTest>

using namespace murlo;

namespace {
const QString sentence = "Where is the image?";
}

/// What a new user has: no assistive technology, and so no accessibility.
class StockDesktopTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void wordsLandWithoutAccessibility_data() {
        QTest::addColumn<QString>("app");
        QTest::addColumn<QString>("mode");
        QTest::newRow("GTK, pasted") << "gtk-entry"
                                     << "paste";
        QTest::newRow("GTK, typed") << "editor"
                                    << "type";
        QTest::newRow("terminal") << "terminal"
                                  << "paste";
        QTest::newRow("browser, pasted") << "browser"
                                         << "paste";
        QTest::newRow("browser, typed") << "browser"
                                        << "type";
    }
    void wordsLandWithoutAccessibility() {
        QFETCH(QString, app);
        QFETCH(QString, mode);
        Desk desk(MURLO_PROGRAM, MURLO_MODEL);
        QVERIFY(desk.startMurlo({{"insertMode", mode}}));
        TargetApp target(*TargetApp::kindNamed(app));
        QVERIFY(target.start());
        QVERIFY(desk.dictate(sentence));
        QVERIFY(desk.delivered());
        QVERIFY(Desk::holds(target, sentence));
    }

    // The last one: from here on this desktop has accessibility.
    void lettersComeOnceTheUserSwitchesItOn() {
        Desk desk(MURLO_PROGRAM, MURLO_MODEL);
        QVERIFY(desk.startMurlo());
        desk.murlo.forgetLog();
        desk.doubleTap(false, "RTSH");
        QVERIFY(desk.murlo.awaitLog("hint: accessibility is off"));
        QCOMPARE(QProcess::execute(MURLO_PROGRAM, {"--enable-accessibility"}), 0);
        TargetApp target(TargetApp::Kind::editor);
        QVERIFY(target.start());
        QVERIFY(desk.showLetters());
        QVERIFY(desk.murlo.awaitLog("scan: 1 boxes in "));
    }
};

QTEST_MAIN(StockDesktopTest)
#include "StockDesktopTest.moc"
