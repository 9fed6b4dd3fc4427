#include "tests/harness/AccountRig.h"

#include <QJsonDocument>
#include <QTest>

using namespace murlo;

class PromptEnhancerTest : public QObject {
    Q_OBJECT

    std::unique_ptr<AccountRig> m_rig;
    std::optional<QString> m_text;

    void enhance(const QString& spoken = "as spoken") {
        m_rig->enhancer.enhance(spoken, "org.example.mail",
                                [this](const QString& text) { m_text = text; });
        QVERIFY(!m_text); // never during the call
        m_rig->scheduler.runPending();
    }
    static QByteArray reply(const QString& text) {
        return QJsonDocument(QJsonObject{{"text", text}}).toJson();
    }

private Q_SLOTS:
    void init() {
        m_text.reset();
        m_rig.reset(); // its log before the next one's
        m_rig = std::make_unique<AccountRig>();
        m_rig->start();
        m_rig->signIn();
        m_rig->settings.set(SettingKey::enhancePrompt, true);
    }

    void tellsWhereTheTextGoes() {
        enhance();
        const HttpRequest sent = m_rig->network.waiting().value(0);
        QCOMPARE(QJsonDocument::fromJson(sent.body).object(),
                 QJsonObject({{"text", "as spoken"}, {"targetApp", "org.example.mail"}}));
        m_rig->scheduler.advance(1.234);
        m_rig->network.answer(200, reply(QString(80, 'x')));
        QCOMPARE(*m_text, QString(80, 'x'));
        m_rig->scheduler.runPending();
        QVERIFY(m_rig->log.lines().contains("enhance: 9 → 80 chars in 1.23s"));
        QCOMPARE(m_rig->log.lines().filter("spoken"), QStringList());
    }

    void theReplyIsForeignInput_data() {
        QTest::addColumn<QString>("reply");
        QTest::addColumn<QString>("text");
        const QString spoken = "as spoken";
        QTest::newRow("as it came") << " Hello\n "
                                    << " Hello\n ";
        QTest::newRow("blank") << "   \n" << spoken;
        QTest::newRow("empty") << "" << spoken;
        QTest::newRow("control characters") << "a\x1b[201~b\tc\r\n\x7f\u009b"
                                               "d"
                                            << "a[201~b\tc\nd";
        QTest::newRow("long") << QString(20000, 'x') << QString(20000, 'x');
        QTest::newRow("absurd") << QString(20001, 'x') << spoken;
    }
    void theReplyIsForeignInput() {
        QFETCH(QString, reply);
        enhance();
        m_rig->network.answer(200, this->reply(reply));
        QTEST(*m_text, "text");
    }

    void whatGoesWrongLeavesTheWords_data() {
        QTest::addColumn<int>("status"); // 0: no answer
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("line");
        QTest::newRow("no answer") << 0 << QByteArray() << "enhance: skipped: network unavailable";
        QTest::newRow("500") << 500 << QByteArray() << "enhance: skipped: server error 500";
        QTest::newRow("204") << 204 << QByteArray() << "enhance: skipped: server error 204";
        QTest::newRow("no JSON") << 200 << QByteArray("{") << "enhance: skipped: unexpected reply";
        QTest::newRow("no text") << 200 << QByteArray(R"({"text":3})")
                                 << "enhance: skipped: unexpected reply";
        QTest::newRow("401") << 401 << QByteArray()
                             << "account: api key revoked server-side, signed out locally";
    }
    void whatGoesWrongLeavesTheWords() {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        enhance();
        if (status)
            m_rig->network.answer(status, body);
        else
            m_rig->network.fail("gone");
        QCOMPARE(*m_text, "as spoken");
        m_rig->scheduler.runPending();
        QFETCH(QString, line);
        QVERIFY(m_rig->log.lines().contains(line));
        QCOMPARE(m_rig->state(), status == 401 ? "signed out" : "signed in");
    }

    void threeSecondsAreTheLimit() {
        enhance();
        m_rig->scheduler.advance(2.999);
        QVERIFY(!m_text);
        const auto before = m_rig->log.lines();
        m_rig->scheduler.advance(0.001);
        QCOMPARE(*m_text, "as spoken");
        QVERIFY(m_rig->network.waiting().isEmpty()); // given up
        m_rig->scheduler.runPending();
        QCOMPARE(m_rig->log.lines(), before);
        init();
        enhance();
        m_rig->scheduler.advance(2.999);
        m_rig->network.answer(200, reply("in time"));
        QCOMPARE(*m_text, "in time");
        m_rig->scheduler.advance(1);
        QCOMPARE(*m_text, "in time"); // once
    }

    void askedOnlyWhenItIsOn() {
        m_rig->settings.set(SettingKey::enhancePrompt, false);
        enhance();
        QCOMPARE(*m_text, "as spoken");
        m_text.reset();
        m_rig->settings.set(SettingKey::enhancePrompt, true);
        m_rig->account.signOut();
        enhance();
        QCOMPARE(*m_text, "as spoken");
        QVERIFY(m_rig->network.waiting().isEmpty());
    }

    void thePickedBoxGoesBeforeTheFrontmostProgram() {
        auto& running = m_rig->applications.running;
        running[7].identifier = "org.example.picked";
        running[8].identifier = "org.example.front";
        m_rig->applications.frontmost = 8;
        InputTarget picked;
        picked.pid = 7;
        const PromptEnhancer& enhancer = m_rig->enhancer;
        QCOMPARE(enhancer.targetBundleId(picked), "org.example.picked");
        QCOMPARE(enhancer.targetBundleId({}), "org.example.front");
        picked.pid = 9;
        QCOMPARE(enhancer.targetBundleId(picked), "org.example.front");
        m_rig->applications.frontmost.reset();
        QVERIFY(!enhancer.targetBundleId(picked));
    }
};

QTEST_GUILESS_MAIN(PromptEnhancerTest)
#include "PromptEnhancerTest.moc"
