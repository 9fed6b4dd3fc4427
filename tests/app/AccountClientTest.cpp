#include "tests/harness/AccountRig.h"
#include "tests/harness/Rows.h"

using namespace murlo;

/// The client against a server that looks at every byte of a request.
class AccountClientTest : public QObject {
    Q_OBJECT

    std::unique_ptr<AccountRig> m_rig;
    AccountClient::Request m_request;
    std::optional<QString> m_outcome; ///< the result as a text, or the error's

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

private Q_SLOTS:
    void init() {
        m_request.reset();
        m_rig.reset();
        m_rig = std::make_unique<AccountRig>("https://murlo.example.com/api/");
        m_rig->client.apiKey = [] { return KeyAnswer{KeyAnswer::present, "the-key"}; };
    }
    void cleanup() { m_request.reset(); }

    void everyRequestIsAsAgreed_data() {
        const Rows<QString, QByteArray, bool, double> row; // the members of a body in their order
        row("signup", "POST /api/signup", R"({"idToken":"token"})", false, 15);
        row("events", "POST /api/events",
            R"({"events":[{"appVersion":"1.2.3","clientTs":"2026-11-16T20:53:14Z","durationS":2.5,)"
            R"("id":"9B2D4F6A-0000-4000-8000-00000000ABCD","type":"dictation","wordCount":7}]})",
            true, 15);
        row("errors", "POST /api/errors",
            R"({"errors":[{"appVersion":"dev","clientTs":"2026-11-16T20:53:14Z",)"
            R"("id":"9B2D4F6A-0000-4000-8000-00000000ABCD","kind":"tap_failed","message":"why"}]})",
            true, 15);
        row("fetch", "GET /api/settings", "", true, 15);
        row("push", "PUT /api/settings", R"({"settings":{ "a":1 }})", true, 15);
        row("polish", "POST /api/polish", R"({"targetApp":"org.example.x","text":"words"})", true,
            4);
        row("polish anywhere", "POST /api/polish", R"({"text":"words"})", true, 4);
        row("release", "GET /api/version", "", false, 15);
        row("funnel", "POST /api/funnel",
            R"({"appVersion":"1.2.3","clientTs":"2026-03-14T15:09:26Z","installId":"ID",)"
            R"("stage":"launched"})",
            false, 15);
    }
    void everyRequestIsAsAgreed() {
        const auto [line, body, authorised, timeout] = fetch<QString, QByteArray, bool, double>();
        perform(QTest::currentDataTag());
        const HttpRequest sent = m_rig->network.waiting().value(0);
        QCOMPARE(sent.method + ' ' + sent.url.path(), line);
        QCOMPARE(sent.body, body);
        QCOMPARE(sent.timeout, timeout);
        QList<HttpHeader> headers{{"Content-Type", "application/json"}};
        if (authorised) headers << HttpHeader("Authorization", "Bearer the-key");
        QCOMPARE(sent.headers, headers);
    }

    void everyStatusButOneIsAnError() {
        for (const char* operation :
             {"signup", "events", "errors", "fetch", "push", "polish", "release", "funnel"}) {
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
        const Rows<QByteArray, QString> row;
        const auto* const bad = "unexpected reply";
        row("signup", R"({"apiKey":"k","more":[]})", "k");
        row("signup", R"({"apiKey":"a","apiKey":"b"})", "b"); // the last of two members counts
        row("signup", R"({"apiKey":7})", bad);
        row("signup", R"(["apiKey"])", bad);
        row("polish", "{\"text\":\"\xff\xfe\"}", bad);
        row("polish", QByteArray(5000, '[') + QByteArray(5000, ']'), bad);
        row("polish", "{\"text\":\"cut", bad);
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
        const auto [body, outcome] = fetch<QByteArray, QString>();
        perform(QTest::currentDataTag());
        m_rig->network.answer(200, body);
        QCOMPARE(m_outcome.value_or("nothing"), outcome);
    }

    void withoutAKeyNothingIsSent_data() {
        const Rows<KeyAnswer::State> state; // by the outcome
        state("not authorized", KeyAnswer::absent);
        state("network unavailable", KeyAnswer::unavailable);
    }
    void withoutAKeyNothingIsSent() {
        m_rig->client.apiKey = [state = std::get<0>(fetch<KeyAnswer::State>())] {
            return KeyAnswer{state, {}};
        };
        for (const char* operation : {"events", "errors", "fetch", "push", "polish"}) {
            perform(operation);
            QCOMPARE(m_outcome.value_or("nothing"), QTest::currentDataTag());
        }
        QVERIFY(m_rig->network.sent().isEmpty());
        perform("funnel");
        QCOMPARE(m_rig->network.sent().size(), 1);
    }

    void onlyTheUsersOwnLocalBackendIsAsked_data() {
        using enum LocalService::Listener;
        const Rows<LocalService::Listener, LocalService::Listener, int> row; // at first, later
        row("it runs", self, self, 1);
        row("it is started", nobody, self, 1);
        row("there is none", nobody, nobody, 0);
        row("it is another user's", stranger, stranger, 0);
    }
    void onlyTheUsersOwnLocalBackendIsAsked() {
        m_rig.reset();
        m_rig = std::make_unique<AccountRig>("http://127.0.0.1:8757");
        int sent = 0;
        std::tie(m_rig->local.listening, m_rig->local.afterStart, sent) =
            fetch<LocalService::Listener, LocalService::Listener, int>();
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
    }
};

QTEST_GUILESS_MAIN(AccountClientTest)
#include "AccountClientTest.moc"
