#include "platform/linux/qt/QtHttpClient.h"
#include "platform/linux/qt/QtScheduler.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakeHttpClient.h"
#include "tests/harness/ValidatingServer.h"

#include <QTest>
#include <QTimer>

namespace murlo {

namespace {

constexpr int patience = 20'000; ///< milliseconds

/// A client and what is at the other end.
class World : public ContractWorld {
public:
    virtual HttpClient& client() = 0;
    virtual void destroyClient() = 0;
    [[nodiscard]] virtual QUrl url() const = 0;
    /// What requests get from now on.
    virtual void setAnswer(const ServerAnswer& answer) = 0;
    /// Nobody listens.
    virtual void close() = 0;
};

class RealWorld : public World {
public:
    RealWorld() {
        server.listen(QHostAddress::LocalHost);
        m_url = server.url("/path");
    }
    HttpClient& client() override { return *m_client; }
    void destroyClient() override { m_client.reset(); }
    [[nodiscard]] QUrl url() const override { return m_url; }
    void setAnswer(const ServerAnswer& answer) override {
        server.answer = [answer](const ReceivedRequest&) { return answer; };
    }
    void close() override { server.close(); }

    ValidatingServer server;

private:
    QUrl m_url;
    QtScheduler m_scheduler;
    std::unique_ptr<QtHttpClient> m_client = std::make_unique<QtHttpClient>(
        [this](double seconds, Work work) { return m_scheduler.after(seconds, std::move(work)); });
};

/// Answers the fake's requests on later turns, as a server would.
class FakeWorld : public World {
public:
    FakeWorld() {
        QObject::connect(&m_turn, &QTimer::timeout, &m_turn, [this] { answerAll(); });
        m_turn.start(1);
    }
    HttpClient& client() override { return *m_client; }
    void destroyClient() override { m_client.reset(); }
    [[nodiscard]] QUrl url() const override { return QUrl("http://127.0.0.1:9/path"); }
    void setAnswer(const ServerAnswer& answer) override { m_answer = answer; }
    void close() override { m_answer.manner = ServerAnswer::closed; }

private:
    void answerAll() {
        if (!m_client || m_client->waiting().isEmpty() || m_answer.manner == ServerAnswer::never)
            return;
        const bool whole =
            m_answer.manner == ServerAnswer::complete || m_answer.manner == ServerAnswer::chunked;
        if (whole && m_answer.body.size() <= QtHttpClient::largestBody) {
            QList<HttpHeader> headers;
            for (const QByteArray& line : m_answer.headers)
                headers.append({line.left(line.indexOf(':')), line.mid(line.indexOf(':') + 2)});
            m_client->answer(m_answer.status, m_answer.body, {}, headers);
        } else {
            m_client->fail("It did not work.");
        }
    }

    QtScheduler m_scheduler;
    ServerAnswer m_answer;
    QTimer m_turn;
    std::unique_ptr<FakeHttpClient> m_client = std::make_unique<FakeHttpClient>(
        [this](double seconds, Work work) { return m_scheduler.after(seconds, std::move(work)); });
};

std::unique_ptr<World> makeWorld() {
    return makeWorldOfRow<World, FakeWorld, RealWorld>();
}

QString describe(const HttpResult& result) {
    if (!result) return "error";
    return QString::number(result->status) + ' ' + QString::fromLatin1(result->body.left(20)) +
           ' ' + QString::number(result->body.size());
}

} // namespace

class HttpClientContractTest : public QObject {
    Q_OBJECT

    HttpRequest request(const World& world, double timeout = 60) {
        HttpRequest result;
        result.url = world.url();
        result.timeout = timeout;
        return result;
    }

private Q_SLOTS:
    void initTestCase() {
        // A proxy of the environment is not for loopback.
        qputenv("http_proxy", "http://127.0.0.1:9/");
        qunsetenv("no_proxy");
    }

    void everyWholeResponseIsOneWhateverItsStatus_data() {
        QTest::addColumn<bool>("real");
        QTest::addColumn<ServerAnswer>("answer");
        QTest::addColumn<QString>("result");
        const QByteArray large(2 * 1024 * 1024, 'x');
        const QByteArray huge(17 * 1024 * 1024, 'x');
        for (const bool real : {false, true}) {
            const auto add = [real](const char* name, const ServerAnswer& answer,
                                    const QString& result) {
                QTest::addRow("%s, %s", name, real ? "real" : "fake") << real << answer << result;
            };
            add("200", {200, "hello"}, "200 hello 5");
            add("empty", {200, ""}, "200  0");
            add("chunked", {200, large, ServerAnswer::chunked}, "200 xxxxxxxxxxxxxxxxxxxx 2097152");
            add("large", {200, large}, "200 xxxxxxxxxxxxxxxxxxxx 2097152");
            add("400", {400, "no"}, "400 no 2");
            add("401", {401, "no", ServerAnswer::complete, {"WWW-Authenticate: Basic realm=\"a\""}},
                "401 no 2");
            add("404", {404, "no"}, "404 no 2");
            add("499", {499, "no"}, "499 no 2");
            add("500", {500, "no"}, "500 no 2");
            add("503", {503, "no"}, "503 no 2");
            add("redirect",
                {302, "away", ServerAnswer::complete, {"Location: http://127.0.0.1:9/"}},
                "302 away 4");
            add("too large", {200, huge}, "error");
            add("too large in chunks", {200, huge, ServerAnswer::chunked}, "error");
            add("cut off", {200, "half of it", ServerAnswer::cutOff}, "error");
            add("refusal cut off", {500, "half of it", ServerAnswer::cutOff}, "error");
            add("closed without a word", {200, "", ServerAnswer::closed}, "error");
            add("no HTTP", {200, "220 mail here\r\n", ServerAnswer::garbage}, "error");
        }
    }
    void everyWholeResponseIsOneWhateverItsStatus() {
        QFETCH(ServerAnswer, answer);
        const auto world = makeWorld();
        world->setAnswer(answer);
        for (const char* method : {"GET", "POST"}) {
            HttpRequest what = request(*world);
            what.method = method;
            QStringList results;
            bool returned = false;
            const auto task = world->client().send(what, [&](const HttpResult& result) {
                QVERIFY(returned); // on a later turn
                QVERIFY(result || !result.error().description.isEmpty());
                results << describe(result);
            });
            returned = true;
            QTRY_COMPARE_WITH_TIMEOUT(results.size(), 1, patience);
            QTest::qWait(0);
            QCOMPARE(results.size(), 1);
            QTEST(results.value(0), "result");
        }
    }

    void aRefusedConnectionIsAnErrorWithoutTheAddress_data() { addWorlds(); }
    void aRefusedConnectionIsAnErrorWithoutTheAddress() {
        QFETCH(bool, real);
        const auto world = makeWorld();
        world->close();
        std::optional<HttpResult> result;
        const auto task = world->client().send(request(*world),
                                               [&](HttpResult what) { result = std::move(what); });
        QTRY_VERIFY_WITH_TIMEOUT(result, patience);
        QVERIFY(!result->has_value());
        const QString words = result->error().description;
        QVERIFY2(!words.isEmpty() && !words.contains("127.0.0.1") && !words.contains("path"),
                 qPrintable(words));
        if (real) QCOMPARE(words, QStringLiteral("Connection refused"));
    }

    void fallsDueAfterItsOwnTimeLimit_data() { addWorlds(); }
    void fallsDueAfterItsOwnTimeLimit() {
        const auto world = makeWorld();
        world->setAnswer({200, "", ServerAnswer::never});
        QString patient;
        QString hasty;
        const auto long1 = world->client().send(
            request(*world, 60), [&](const HttpResult& result) { patient = describe(result); });
        const auto short1 =
            world->client().send(request(*world, 0.2), [&](const HttpResult& result) {
                hasty = result ? "answer" : result.error().description;
            });
        QTRY_COMPARE_WITH_TIMEOUT(hasty, QStringLiteral("The request timed out."), patience);
        QCOMPARE(patient, QString());
    }

    void nothingIsCalledAfterTheEnd_data() {
        QTest::addColumn<bool>("real");
        QTest::addColumn<QString>("end");
        for (const char* end : {"cancel", "handle", "client"}) {
            QTest::addRow("fake, %s", end) << false << QString::fromLatin1(end);
            QTest::addRow("real, %s", end) << true << QString::fromLatin1(end);
        }
    }
    void nothingIsCalledAfterTheEnd() {
        QFETCH(QString, end);
        const auto world = makeWorld();
        world->setAnswer({200, "", ServerAnswer::never});
        bool called = false;
        auto task =
            world->client().send(request(*world, 0.3), [&](const HttpResult&) { called = true; });
        auto* wire = dynamic_cast<RealWorld*>(world.get());
        if (wire) QTRY_COMPARE_WITH_TIMEOUT(wire->server.requests.size(), 1, patience);
        if (end == "cancel") task->cancel();
        if (end == "handle") task.reset();
        if (end == "client") world->destroyClient();
        // The connection is closed at once, which is how the other end learns of it.
        if (wire) QTRY_COMPARE_WITH_TIMEOUT(wire->server.openConnections, 0, patience);
        QTest::qWait(400); // past the time limit
        QVERIFY(!called);
        if (task) task->cancel(); // harmless
    }

    void aCompletionMayEndItsHandleAndSendTheNext_data() { addWorlds(); }
    void aCompletionMayEndItsHandleAndSendTheNext() {
        const auto world = makeWorld();
        world->setAnswer({200, "hello"});
        int left = 5;
        std::unique_ptr<HttpTask> task;
        const std::function<void(HttpResult)> next = [&](const HttpResult& result) {
            QCOMPARE(describe(result), QStringLiteral("200 hello 5"));
            task.reset();
            if (--left > 0) task = world->client().send(request(*world), next);
        };
        task = world->client().send(request(*world), next);
        QTRY_COMPARE_WITH_TIMEOUT(left, 0, patience);
    }

    void aStreamComesInPiecesAfterItsHead_data() {
        QTest::addColumn<bool>("real");
        QTest::addColumn<QString>("end");
        for (const char* end : {"whole", "cut off", "head", "piece", "handle"}) {
            QTest::addRow("real, %s", end) << true << QString(end);
            if (qstrcmp(end, "cut off") != 0)
                QTest::addRow("fake, %s", end) << false << QString(end);
        }
    }
    void aStreamComesInPiecesAfterItsHead() {
        QFETCH(bool, real);
        QFETCH(QString, end);
        const auto world = makeWorld();
        const QByteArray body((real ? 20 : 2) * 1024 * 1024, 'x'); // more than is ever collected
        world->setAnswer({206,
                          body,
                          end == "cut off" ? ServerAnswer::cutOff : ServerAnswer::chunked,
                          {"Content-Range: bytes 5-9/10"}});
        HttpRequest what = request(*world);
        std::unique_ptr<HttpTask> task;
        QStringList heads;
        qint64 got = 0;
        what.head = [&](const HttpResponse& head) {
            heads << QString::number(head.status) + ' ' + head.header("content-range");
            return end != "head";
        };
        what.piece = [&](const QByteArray& piece) {
            got += piece.size();
            if (end == "handle") task.reset();
            return end != "piece";
        };
        std::optional<HttpResult> result;
        task = world->client().send(what, [&](HttpResult done) { result = std::move(done); });
        if (end == "handle") {
            QTRY_VERIFY_WITH_TIMEOUT(!task, patience);
            QTest::qWait(50);
            QVERIFY(!result);
        } else {
            QTRY_VERIFY_WITH_TIMEOUT(result, patience);
            QCOMPARE(result->has_value(), end == "whole");
        }
        QCOMPARE(heads, QStringList{"206 bytes 5-9/10"});
        if (end == "whole") QVERIFY(got == body.size() && (*result)->body.isEmpty());
        if (end == "head") QCOMPARE(got, 0);
        if (real && end != "whole" && end != "cut off") QVERIFY(got < body.size());
    }

    // What only the wire shows.

    void theBodyArrivesByteForByte() {
        RealWorld world;
        HttpRequest what = request(world);
        what.method = "POST";
        what.headers = {{"Content-Type", "multipart/form-data; boundary=X"}, {"X-Other", "1"}};
        for (int at = 0; at < 3'000'000; ++at) what.body.append(static_cast<char>(at * 7));
        std::optional<HttpResult> result;
        const auto task =
            world.client().send(what, [&](HttpResult done) { result = std::move(done); });
        QTRY_VERIFY_WITH_TIMEOUT(result, patience);
        QCOMPARE(world.server.requests.size(), 1);
        const ReceivedRequest& received = world.server.requests.first();
        QCOMPARE(received.method + ' ' + received.path, QByteArray("POST /path"));
        QVERIFY(received.body == what.body);
        QCOMPARE(received.headers.value("content-type"), what.headers.first().second);
        QCOMPARE(received.headers.value("x-other"), QByteArray("1"));
        QCOMPARE(received.headers.value("accept-encoding"), QByteArray("identity"));
        QVERIFY(!received.headers.contains("upgrade"));
    }

    void aRequestWithoutAnAnswerIsNotSentAgain() {
        RealWorld world;
        world.setAnswer({200, "", ServerAnswer::closed});
        HttpRequest what = request(world);
        what.method = "POST";
        what.body = "speech";
        std::optional<HttpResult> result;
        const auto task =
            world.client().send(what, [&](HttpResult end) { result = std::move(end); });
        QTRY_VERIFY_WITH_TIMEOUT(result, patience);
        QCOMPARE(world.server.requests.size(), 1);
        QCOMPARE(result->error().description,
                 QStringLiteral("The connection was closed before the answer came."));
    }

    void aRequestLeavesNoConnectionAndNoCookie() {
        RealWorld world;
        world.setAnswer({200, "", ServerAnswer::complete, {"Set-Cookie: a=b"}});
        for (int count = 1; count <= 3; ++count) {
            bool done = false;
            const auto task =
                world.client().send(request(world), [&](const HttpResult&) { done = true; });
            QTRY_VERIFY_WITH_TIMEOUT(done, patience);
            QCOMPARE(world.server.connections, count);
            const auto& headers = world.server.requests.last().headers;
            QCOMPARE(headers.value("connection"), QByteArray("close"));
            QVERIFY(!headers.contains("cookie"));
        }
    }
};

} // namespace murlo

QTEST_GUILESS_MAIN(murlo::HttpClientContractTest)
#include "HttpClientContractTest.moc"
