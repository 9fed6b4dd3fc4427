#include "tests/harness/desktop/TestDesk.h"

using namespace murlo;

/// What a new user has: no assistive technology, and so no accessibility.
class StockDesktopTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void wordsLandWithoutAccessibility_data() {
        QTest::addColumn<QString>("mode");
        for (const auto& [app, mode] :
             {std::pair("gtk-entry", "paste"), std::pair("editor", "type"),
              std::pair("terminal", "paste"), std::pair("browser", "paste"),
              std::pair("browser", "type")})
            QTest::addRow("%s %s", app, mode) << mode;
    }
    void wordsLandWithoutAccessibility() {
        QFETCH(QString, mode);
        const QString app = QString(QTest::currentDataTag()).section(' ', 0, 0);
        TestDesk desk;
        QVERIFY(desk.startWith(*TargetApp::kindNamed(app), {{"insertMode", mode}}));
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
