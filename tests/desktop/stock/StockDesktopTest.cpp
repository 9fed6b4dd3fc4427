#include "tests/harness/Rows.h"
#include "tests/harness/desktop/TestDesk.h"

using namespace murlo;

/// What a new user has: no assistive technology, and so no accessibility.
class StockDesktopTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void wordsLandWithoutAccessibility_data() {
        const Rows<> row;
        for (const char* name :
             {"gtk-entry paste", "editor type", "terminal paste", "browser paste", "browser type"})
            row(name);
    }
    void wordsLandWithoutAccessibility() {
        const QStringList row = QString(QTest::currentDataTag()).split(' ');
        TestDesk desk;
        QVERIFY(desk.startWith(*TargetApp::kindNamed(row[0]), {{"insertMode", row[1]}}));
        QVERIFY(desk.lands("Where is the image?"));
    }

    // The last one: from here on this desktop has accessibility.
    void lettersComeOnceTheUserSwitchesItOn() {
        TestDesk desk;
        QVERIFY(desk.startMurlo());
        desk.murlo.forgetLog();
        desk.doubleTap(false, Desk::pickKey);
        QVERIFY(desk.murlo.awaitLog("hint: accessibility is off"));
        QCOMPARE(QProcess::execute(MURLO_PROGRAM, {"--enable-accessibility"}), 0);
        desk.target = std::make_unique<TargetApp>(TargetApp::Kind::editor);
        QVERIFY(desk.target->start() && desk.showLetters());
        QVERIFY(desk.murlo.awaitLog("scan: 1 boxes in "));
    }
};

QTEST_MAIN(StockDesktopTest)
#include "StockDesktopTest.moc"
