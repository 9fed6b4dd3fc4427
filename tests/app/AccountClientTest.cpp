#include "tests/harness/AccountRig.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

using namespace murlo;

namespace {

/// What came of an operation: its result as a text, or the error's.
using Outcome = std::optional<QString>;

} // namespace

/// The client against a server that looks at every byte of a request.
class AccountClientTest : public QObject {
    Q_OBJECT

    std::unique_ptr<AccountRig> m_rig;
    AccountClient::Request m_request;
    Outcome m_outcome;

    template <typename Result>
    AccountClient::Answer<Result> into() {
        return [this](const tl::expected<Result, AccountError>& result) {
            if (!result) {
                m_outcome = result.error().description() + result.error().sentKey;
            } else if constexpr (std::is_same_v<Result, QString>) {
                m_outcome = *result;
            } else if constexpr (std::is_same_v<Result, int>) {
                m_outcome = QString::number(*result);
            } else if constexpr (std::is_same_v<Result, ReleaseInfo>) {
                m_outcome = result->latest;
            } else if constexpr (std::is_same_v<Result, std::optional<QByteArray>>) {
                m_outcome = result->value_or("none");
            } else {
                m_outcome = "done";
            }
        };
    }

    void perform(const QString& operation) {
        AccountClient& client = m_rig->client;
        const QDateTime then(QDate(2026, 11, 16), QTime(21, 53, 14, 999), Qt::OffsetFromUTC, 3600);
        UsageEvent event = UsageEvent::dictation(2.5, 7, {}, "1.2.3", then);
        event.id = QUuid("{9b2d4f6a-0000-4000-8000-00000000abcd}");
        ErrorReport error = ErrorReport::report("tap_failed", "why", "dev", then);
        error.id = event.id;
        m_outcome.reset();
        if (operation == "signup") m_request = client.signup("token", into<QString>());
        if (operation == "events") m_request = client.upload({event}, into<int>());
        if (operation == "errors") m_request = client.uploadErrors({error}, into<int>());
        if (operation == "fetch")
            m_request = client.fetchSettings(into<std::optional<QByteArray>>());
        if (operation == "push") m_request = client.pushSettings(R"({ "a":1 })", into<void>());
        if (operation == "polish")
            m_request = client.polish("words", "org.example.x", 4, into<QString>());
        if (operation == "polish anywhere")
            m_request = client.polish("words", {}, 4, into<QString>());
        if (operation == "release") m_request = client.fetchRelease(into<ReleaseInfo>());
        if (operation == "funnel") m_request = client.funnel("ID", "launched", into<void>());
        m_rig->scheduler.runPending();
    }

    static constexpr const char* operations[] = {"signup", "events", "errors",  "fetch",
                                                 "push",   "polish", "release", "funnel"};

private Q_SLOTS:
    void init() {
        m_request.reset();
        m_rig.reset();
        m_rig = std::make_unique<AccountRig>("https://murlo.example.com/api/");
        m_rig->client.apiKey = [] { return KeyAnswer{KeyAnswer::present, "the-key"}; };
    }
    void cleanup() { m_request.reset(); }

    void everyRequestIsAsAgreed_data() {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("body"); // as JSON in order of members
        QTest::addColumn<bool>("authorised");
        QTest::addColumn<double>("timeout");
        const auto row = [](const char* name, const char* method, const char* path,
                            const QByteArray& body, bool authorised, double timeout = 15) {
            QTest::newRow(name) << QByteArray(method) << path << body << authorised << timeout;
        };
        row("signup", "POST", "/api/signup", R"({"idToken":"token"})", false);
        row("events", "POST", "/api/events",
            R"({"events":[{"appVersion":"1.2.3","clientTs":"2026-11-16T20:53:14Z","durationS":2.5,)"
            R"("id":"9B2D4F6A-0000-4000-8000-00000000ABCD","type":"dictation","wordCount":7}]})",
            true);
        row("errors", "POST", "/api/errors",
            R"({"errors":[{"appVersion":"dev","clientTs":"2026-11-16T20:53:14Z",)"
            R"("id":"9B2D4F6A-0000-4000-8000-00000000ABCD","kind":"tap_failed","message":"why"}]})",
            true);
        row("fetch", "GET", "/api/settings", "", true);
        row("push", "PUT", "/api/settings", R"({"settings":{ "a":1 }})", true);
        row("polish", "POST", "/api/polish", R"({"targetApp":"org.example.x","text":"words"})",
            true, 4);
        row("polish anywhere", "POST", "/api/polish", R"({"text":"words"})", true, 4);
        row("release", "GET", "/api/version", "", false);
        row("funnel", "POST", "/api/funnel",
            R"({"appVersion":"1.2.3","clientTs":"2026-03-14T15:09:26Z","installId":"ID",)"
            R"("stage":"launched"})",
            false);
    }
    void everyRequestIsAsAgreed() {
        perform(QTest::currentDataTag());
        const HttpRequest sent = m_rig->network.waiting().value(0);
        QTEST(sent.method, "method");
        QTEST(sent.url.path(), "path");
        QTEST(sent.body, "body");
        QTEST(sent.timeout, "timeout");
        QFETCH(bool, authorised);
        QList<HttpHeader> headers{{"Content-Type", "application/json"}};
        if (authorised) headers << HttpHeader("Authorization", "Bearer the-key");
        QCOMPARE(sent.headers, headers);
    }

    void everyStatusButOneIsAnError() {
        for (const char* operation : operations) {
            const bool bearer = QStringList({"signup", "release", "funnel"}).indexOf(operation) < 0;
            for (int status = 100; status < 600; ++status) {
                if (status == 200) continue;
                perform(operation);
                m_rig->network.answer(status, R"({"apiKey":"k","text":"t","accepted":1})");
                const QString expected =
                    status == 401 ? "not authorized" : QString("server error %1").arg(status);
                QCOMPARE(*m_outcome, expected + (status == 401 && bearer ? "the-key" : ""));
            }
            perform(operation);
            m_rig->network.fail("reset");
            QCOMPARE(*m_outcome, "network unavailable");
        }
    }

    void repliesAreRead_data() {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("outcome");
        const QString bad = "unexpected reply";
        const auto row = [](const char* operation, const QByteArray& body, const QString& outcome) {
            QTest::addRow("%s %s", operation, body.left(40).constData())
                << operation << body << outcome;
        };
        row("signup", R"({"apiKey":"k","more":[]})", "k");
        row("signup", R"({"apiKey":"a","apiKey":"b"})", "b"); // the last of two members counts
        row("signup", R"({"apiKey":7})", bad);
        row("signup", R"(["apiKey"])", bad);
        row("polish", "{\"text\":\"\xff\xfe\"}", bad);
        row("polish", QByteArray(5000, '[') + QByteArray(5000, ']'), bad);
        row("polish", R"({"text":"cut)", bad);
        row("events", R"({"accepted":3})", "3");
        row("events", R"({"accepted":2.5})", bad);
        row("errors", R"({"accepted":1e300})", bad);
        row("errors", R"({"accepted":"3"})", bad);
        row("fetch", "{}", "none");
        row("fetch", R"({"settings":null})", "none");
        row("fetch", R"({"settings":{"language":"de"}})", R"({"language":"de"})");
        row("fetch", R"({"settings":[1]})", bad);
        row("fetch", "", bad);
        row("push", "", "done");
        row("funnel", "no JSON", "done");
        row("release", R"({"latest":"2","minimum":"","url":"","notes":""})", "2");
        row("release", R"({"latest":"2","minimum":"","url":""})", bad);
    }
    void repliesAreRead() {
        QFETCH(QString, operation);
        QFETCH(QByteArray, body);
        perform(operation);
        m_rig->network.answer(200, body);
        QTEST(m_outcome.value_or("nothing"), "outcome");
    }

    void withoutAKeyNothingIsSent_data() {
        QTest::addColumn<int>("state");
        QTest::addColumn<QString>("outcome");
        QTest::newRow("absent") << int(KeyAnswer::absent) << "not authorized";
        QTest::newRow("unavailable") << int(KeyAnswer::unavailable) << "network unavailable";
    }
    void withoutAKeyNothingIsSent() {
        QFETCH(int, state);
        m_rig->client.apiKey = [state] { return KeyAnswer{KeyAnswer::State(state), {}}; };
        for (const char* operation : {"events", "errors", "fetch", "push", "polish"}) {
            perform(operation);
            QTEST(m_outcome.value_or("nothing"), "outcome");
        }
        QVERIFY(m_rig->network.sent().isEmpty());
        perform("funnel");
        QCOMPARE(m_rig->network.sent().size(), 1);
    }

    void onlyTheUsersOwnLocalBackendIsAsked_data() {
        using enum LocalService::Listener;
        QTest::addColumn<int>("listening");
        QTest::addColumn<int>("afterStart");
        QTest::addColumn<int>("sent");
        QTest::newRow("it runs") << int(self) << int(self) << 1;
        QTest::newRow("it is started") << int(nobody) << int(self) << 1;
        QTest::newRow("there is none") << int(nobody) << int(nobody) << 0;
        QTest::newRow("it is another user's") << int(stranger) << int(stranger) << 0;
    }
    void onlyTheUsersOwnLocalBackendIsAsked() {
        QFETCH(int, listening);
        QFETCH(int, afterStart);
        QFETCH(int, sent);
        m_rig.reset();
        m_rig = std::make_unique<AccountRig>("http://127.0.0.1:8757");
        m_rig->local.listening = LocalService::Listener(listening);
        m_rig->local.afterStart = LocalService::Listener(afterStart);
        perform("release");
        m_rig->scheduler.advance(1);
        QCOMPARE(m_rig->network.waiting().size(), sent);
        QCOMPARE(m_outcome.value_or("nothing"), sent ? "nothing" : "network unavailable");
    }

    void whoIsNotWaitedForDoesNotAnswer() {
        perform("polish");
        m_request->cancel();
        QVERIFY(m_rig->network.waiting().isEmpty());
        perform("polish");
        m_request.reset();
        QVERIFY(m_rig->network.waiting().isEmpty() && !m_outcome);
        perform("polish");
        m_rig->scheduler.advance(3.9);
        QVERIFY(!m_outcome);
        m_rig->scheduler.advance(0.1); // the caller's limit
        QCOMPARE(*m_outcome, "network unavailable");
    }
};

QTEST_GUILESS_MAIN(AccountClientTest)
#include "AccountClientTest.moc"
