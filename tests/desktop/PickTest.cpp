#include "tests/harness/Rows.h"
#include "tests/harness/desktop/TestDesk.h"
#include "tests/harness/desktop/Windows.h"

#include <signal.h>

using namespace murlo;

/// A letter on every text box, among other people's programs: A, S, D and so on by rows from the
/// top, each from the left. The test knows where the boxes are and asks no scan for their letters.
class PickTest : public QObject {
    Q_OBJECT

    using Kind = TargetApp::Kind;
    std::unique_ptr<TestDesk> m_desk;

private Q_SLOTS:
    void init() { m_desk = std::make_unique<TestDesk>(); }
    void cleanup() { m_desk.reset(); }

    void wordsGoIntoThePickedBoxAndNowhereElse() {
        const QString first = "The scene is dull.";
        const QString second = "Where is the image?";
        TargetApp left(Kind::form);
        TargetApp right(Kind::form);
        QVERIFY(m_desk->startMurlo());
        QVERIFY(left.start() && left.moveTo({0, 0}));
        QVERIFY(right.start() && right.moveTo({640, 0}));
        for (const auto& [letter, words] : {std::pair("D", first), std::pair("S", second)}) {
            QVERIFY(m_desk->showLetters());
            QVERIFY(m_desk->murlo.awaitLog("scan: 4 boxes in "));
            m_desk->type("ZM"); // on no box
            m_desk->type(letter);
            QVERIFY(m_desk->murlo.awaitLog("dictation: listening"));
            QVERIFY(m_desk->speak(words));
            m_desk->end();
            QVERIFY(m_desk->delivered());
        }
        QTRY_COMPARE(left.texts(), QStringList({"", first}));
        QTRY_COMPARE(right.texts(), QStringList({second, ""}));
        QVERIFY(!m_desk->keyboard.isDown(Desk::pickKey));
    }

    void whateverEndsItGivesTheKeysBack_data() {
        const Rows<> row;
        for (const char* end :
             {"Escape", "the trigger again", "a click", "another desktop", "a crash"})
            row(end);
    }
    void whateverEndsItGivesTheKeysBack() {
        const QByteArray end = QTest::currentDataTag();
        QVERIFY(m_desk->startWith(Kind::gtkEntry));
        QVERIFY(m_desk->showLetters());
        m_desk->type("M"); // Murlo's
        letPass(100);
        if (end == "Escape") m_desk->keyboard.tap("ESC");
        if (end == "the trigger again") m_desk->doubleTap(false, Desk::pickKey);
        if (end == "a click") clickAt({2, 2});
        if (end == "another desktop") {
            switchDesktop(1);
            letPass(100);
            switchDesktop(0);
        }
        if (end == "a crash") ::kill(pid_t(m_desk->murlo.pid()), SIGKILL);
        letPass(200);
        QVERIFY(m_desk->target->activate());
        m_desk->type("K"); // the dialog's
        QVERIFY(m_desk->holds("k"));
    }

    void aHungProgramHidesNobodyElsesBoxes() {
        TargetApp behind(Kind::editor);
        QVERIFY(behind.start());
        QVERIFY(m_desk->startWith(Kind::gtkEntry));
        behind.hang();
        QVERIFY(m_desk->showLetters());
        QVERIFY(m_desk->murlo.awaitLog("scan: 1 boxes in "));
    }
};

QTEST_MAIN(PickTest)
#include "PickTest.moc"
