#include "platform/linux/x11/XcbConnection.h"
#include "tests/harness/desktop/Desk.h"
#include "tests/harness/desktop/Letters.h"
#include "tests/harness/desktop/TargetApp.h"
#include "tests/harness/desktop/Waiting.h"

#include <QTest>

#include <signal.h>
#include <xcb/xtest.h>

using namespace murlo;

namespace {

const QString sentence = QStringLiteral("Where is the image?");

/// A person's hand on the mouse, in an empty corner.
void click() {
    const XcbConnection x;
    for (const auto& [type, detail] :
         {std::pair(XCB_MOTION_NOTIFY, 0), std::pair(XCB_BUTTON_PRESS, 1),
          std::pair(XCB_BUTTON_RELEASE, 1)})
        xcb_test_fake_input(x, static_cast<uint8_t>(type), static_cast<uint8_t>(detail), 0,
                            x.root(), 2, 2, 0);
    x.sync();
}

/// As a pager asks for it.
void switchDesktop(quint32 number) {
    const XcbConnection x;
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = x.root();
    message.type = x.atom(QStringLiteral("_NET_CURRENT_DESKTOP"));
    message.data.data32[0] = number;
    xcb_send_event(x, 0, x.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    x.sync();
}

} // namespace

/// A letter on every text box, among other people's programs.
class PickTest : public QObject {
    Q_OBJECT

    std::unique_ptr<Desk> m_desk;
    std::unique_ptr<TargetApp> m_behind;
    std::unique_ptr<TargetApp> m_front;

    void type(const QString& letters) {
        for (const QChar letter : letters) m_desk->keyboard.tap(keyOf(letter));
    }

private Q_SLOTS:
    void init() {
        m_desk = std::make_unique<Desk>(MURLO_PROGRAM, MURLO_MODEL);
        QVERIFY(m_desk->startMurlo());
        m_behind = std::make_unique<TargetApp>(TargetApp::Kind::editor);
        QVERIFY(m_behind->start());
        m_front = std::make_unique<TargetApp>(TargetApp::Kind::gtkEntry);
        QVERIFY(m_front->start());
    }
    void cleanup() {
        m_front.reset();
        m_behind.reset();
        m_desk.reset();
    }

    void wordsGoIntoThePickedBoxAndNowhereElse() {
        const QString label = letterOnBoxOf(m_behind->pid());
        QVERIFY(m_desk->showLetters());
        type(QStringLiteral("ZM")); // on no box
        type(label);
        QVERIFY(m_desk->murlo.awaitLog("dictation: listening"));
        QVERIFY(m_desk->speak(sentence));
        m_desk->doubleTap();
        QVERIFY(m_desk->delivered());
        QVERIFY(Desk::holds(*m_behind, sentence));
        QCOMPARE(m_front->text(), QString());
        QVERIFY(!m_desk->keyboard.isDown("RTSH"));
    }

    void whateverEndsItGivesTheKeysBack_data() {
        QTest::addColumn<QString>("how");
        for (const char* how :
             {"Escape", "the trigger again", "a click", "another desktop", "a crash"})
            QTest::newRow(how) << how;
    }
    void whateverEndsItGivesTheKeysBack() {
        QFETCH(QString, how);
        QVERIFY(m_desk->showLetters());
        type(QStringLiteral("M")); // Murlo's
        letPass(100);
        if (how == QLatin1String("Escape")) m_desk->keyboard.tap("ESC");
        if (how == QLatin1String("the trigger again")) m_desk->doubleTap(false, "RTSH");
        if (how == QLatin1String("a click")) click();
        if (how == QLatin1String("another desktop")) {
            switchDesktop(1);
            letPass(100);
            switchDesktop(0);
        }
        if (how == QLatin1String("a crash"))
            ::kill(static_cast<pid_t>(m_desk->murlo.pid()), SIGKILL);
        letPass(200);
        QVERIFY(m_front->activate());
        type(QStringLiteral("K")); // the dialog's
        QVERIFY(Desk::holds(*m_front, QStringLiteral("k")));
        QCOMPARE(m_behind->text(), QString());
    }

    void aBoxThatIsGone() {
        const QString label = letterOnBoxOf(m_front->pid());
        QVERIFY(m_desk->showLetters());
        m_front->close();
        type(label);
        QVERIFY(m_desk->murlo.awaitLog("hint: target vanished before pick"));
    }

    void aHungProgramHidesNobodyElsesBoxes() {
        m_behind->hang();
        QVERIFY(m_desk->showLetters());
        QVERIFY(m_desk->murlo.awaitLog("scan: 1 boxes in "));
        m_behind->resume();
    }
};

QTEST_MAIN(PickTest)
#include "PickTest.moc"
