#include "platform/linux/qt/NetworkThreadClient.h"
#include "platform/linux/qt/QtHttpClient.h"
#include "platform/linux/qt/QtScheduler.h"
#include "tests/fakes/FakeHttpClient.h"
#include "tests/harness/LoopbackServer.h"
#include "tests/harness/Rows.h"

#include <QTest>

namespace murlo {

namespace {

constexpr int patience = 20'000; ///< milliseconds

enum class Kind { fake, plain, threaded };

const QList<std::pair<QByteArray, Kind>> realKinds{{"one thread", Kind::plain},
                                                   {"network thread", Kind::threaded}};

/// One row of test data for each kind of client that is real.
Rows<Kind> addRealKinds() {
    const Rows<Kind> row;
    for (const auto& [name, kind] : realKinds) row(name, kind);
    return row;
}
Kind kindOfRow() {
    return std::get<0>(fetch<Kind>());
}

/// A client, the server at its other end and what the one asks of the other.
struct World {
    World(const ServerAnswer& answer, Kind kind) {
        server.answer = answer;
        request.url = server.url();
        const Delay delay = [this](double seconds, Work work) {
            return scheduler.after(seconds, std::move(work));
        };
        if (kind == Kind::plain) client = std::make_unique<QtHttpClient>(delay);
        if (kind == Kind::fake) client = std::make_unique<FakeHttpClient>(delay);
        if (kind == Kind::threaded) // which would not carry what stays on this computer
            client =
                std::make_unique<NetworkThreadClient>(scheduler, [](const QUrl&) { return false; });
    }
    /// Sends the request and waits for its end.
    HttpResult fetch() {
        std::optional<HttpResult> result;
        const auto task = client->send(request, [&](HttpResult end) { result = std::move(end); });
        (void)QTest::qWaitFor([&] { return result.has_value(); }, patience);
        return result.value_or(tl::unexpected(HttpError{"no end", {}, 0}));
    }

    LoopbackServer server;
    HttpRequest request;
    QtScheduler scheduler;
    std::unique_ptr<HttpClient> client;
};

/// Why there is no response.
QString words(const HttpResult& result) {
    return result ? QStringLiteral("a response") : result.error().description;
}

QString describe(const HttpResult& result) {
    const QString why = words(result);
    if (!result)
        return why.isEmpty() || why.contains("127.0.0.1") ? "not for a user: " + why : "error";
    return QString::number(result->status) + ' ' + QString::fromLatin1(result->body.left(20)) +
           ' ' + QString::number(result->body.size());
}

} // namespace

class HttpClientContractTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        // A proxy of the environment is not for loopback.
        qputenv("http_proxy", "http://127.0.0.1:9/");
        qunsetenv("no_proxy");
    }

    void everyWholeResponseIsOneWhateverItsStatus_data() {
        const Rows<ServerAnswer, QString> add;
        const QByteArray large(2 * 1024 * 1024, 'x');
        const QByteArray huge(17 * 1024 * 1024, 'x');
        add("200", {200, "hello"}, "200 hello 5");
        add("empty", {200, ""}, "200  0");
        add("large", {200, large}, "200 xxxxxxxxxxxxxxxxxxxx 2097152");
        add("chunked", {200, large, ServerAnswer::chunked}, "200 xxxxxxxxxxxxxxxxxxxx 2097152");
        for (const QByteArray status : {"400", "404", "499", "500", "503"})
            add(status, {status.toInt(), "no"}, status + " no 2");
        add("401", {401, "no", ServerAnswer::complete, "WWW-Authenticate: Basic realm=\"a\"\r\n"},
            "401 no 2");
        add("407", {407, "no", ServerAnswer::complete, "Proxy-Authenticate: Basic realm=\"a\"\r\n"},
            "407 no 2");
        add("407 without a challenge", {407, "no"}, "407 no 2");
        add("redirect", {302, "away", ServerAnswer::complete, "Location: http://127.0.0.1:9/\r\n"},
            "302 away 4");
        add("too large", {200, huge}, "error");
        add("too large in chunks", {200, huge, ServerAnswer::chunked}, "error");
        add("cut off", {200, "half of it", ServerAnswer::cutOff}, "error");
        add("refusal cut off", {500, "half of it", ServerAnswer::cutOff}, "error");
        add("closed without a word", {200, "", ServerAnswer::bare}, "error");
        add("no HTTP", {200, "220 mail here\r\n", ServerAnswer::bare}, "error");
    }
    void everyWholeResponseIsOneWhateverItsStatus() {
        const auto [answer, expected] = fetch<ServerAnswer, QString>();
        for (const Kind kind : {Kind::plain, Kind::threaded}) {
            World world(answer, kind);
            for (const char* method : {"GET", "POST"}) {
                world.request.method = method;
                QStringList results;
                const auto task = world.client->send(
                    world.request, [&](const HttpResult& result) { results << describe(result); });
                QVERIFY(results.isEmpty()); // on a later turn
                QTRY_COMPARE_WITH_TIMEOUT(results.size(), 1, patience);
                QTest::qWait(0);
                QCOMPARE(results.size(), 1);
                QCOMPARE(results.value(0), expected);
            }
        }
    }

    void anErrorSaysWhatHappened_data() { addRealKinds(); }
    void anErrorSaysWhatHappened() {
        World world({200, "", ServerAnswer::bare}, kindOfRow());
        for (const char* method : {"POST", "GET"}) {
            world.server.requests.clear();
            world.request.method = method;
            world.request.body = world.request.method == "POST" ? "speech" : "";
            const HttpResult closed = world.fetch();
            QCOMPARE(words(closed), "The connection was closed before the answer came.");
            QCOMPARE(closed.error().failure, NetworkFailure::cutOff);
            QCOMPARE(world.server.requests.size(), 1); // it is not sent again
        }
        world.server.close();
        world.request.method = "GET";
        const HttpResult refused = world.fetch();
        QCOMPARE(words(refused), "Connection refused");
        QCOMPARE(refused.error().failure, NetworkFailure::refused);
    }

    void fallsDueAfterItsOwnTimeLimit_data() { addRealKinds()("fake", Kind::fake); }
    void fallsDueAfterItsOwnTimeLimit() {
        World world({200, "", ServerAnswer::never}, kindOfRow());
        QStringList ended;
        const auto patient = world.client->send(
            world.request, [&](const HttpResult&) { ended << "the patient one"; });
        world.request.timeout = 0.2;
        const auto hasty = world.client->send(world.request, [&](const HttpResult& result) {
            ended << words(result);
            QCOMPARE(result.error().failure, NetworkFailure::timedOut);
        });
        QTRY_COMPARE_WITH_TIMEOUT(ended, QStringList{"The request timed out."}, patience);
    }

    void nothingIsCalledAfterTheEnd_data() {
        const Rows<Kind, QString> row;
        row("fake, cancel", Kind::fake, "cancel");
        row("fake, handle", Kind::fake, "handle");
        for (const char* end : {"cancel", "handle", "client"})
            for (const auto& [name, kind] : realKinds) row(name + ", " + end, kind, end);
    }
    void nothingIsCalledAfterTheEnd() {
        const auto [kind, end] = fetch<Kind, QString>();
        World world({200, "", ServerAnswer::never}, kind);
        world.request.timeout = 0.3;
        bool called = false;
        auto task = world.client->send(world.request, [&](const HttpResult&) { called = true; });
        if (kind != Kind::fake)
            QTRY_COMPARE_WITH_TIMEOUT(world.server.requests.size(), 1, patience);
        if (end == "cancel") task->cancel();
        if (end == "handle") task.reset();
        if (end == "client") world.client.reset();
        // The connection is closed at once, which is how the other end learns of it.
        QTRY_COMPARE_WITH_TIMEOUT(world.server.openConnections, 0, patience);
        QTest::qWait(400); // past the time limit
        QVERIFY(!called);
        if (task) task->cancel(); // harmless
    }

    void aCompletionMayEndItsHandleAndSendTheNext_data() { addRealKinds(); }
    void aCompletionMayEndItsHandleAndSendTheNext() {
        World world({200, "hello"}, kindOfRow());
        int left = 5;
        std::unique_ptr<HttpTask> task;
        const std::function<void(HttpResult)> next = [&](const HttpResult& result) {
            QCOMPARE(describe(result), "200 hello 5");
            task.reset();
            if (--left > 0)
                task = world.client->send(world.request, next);
            else
                world.client.reset();
        };
        task = world.client->send(world.request, next);
        QTRY_COMPARE_WITH_TIMEOUT(left, 0, patience);
    }

    void aStreamComesInPiecesAfterItsHead_data() {
        const Rows<Kind, QString> row;
        for (const char* end : {"whole", "cut off", "head", "piece", "handle"})
            for (const auto& [name, kind] : realKinds) row(name + ", " + end, kind, end);
        for (const char* end : {"whole", "head", "piece", "handle"})
            row(QByteArray("fake, ") + end, Kind::fake, end);
    }
    void aStreamComesInPiecesAfterItsHead() {
        const auto [kind, moment] = fetch<Kind, QString>();
        const QString& end = moment;
        // The whole one is more than is ever collected.
        const QByteArray body((end == "whole" ? 20 : 2) * 1024 * 1024, 'x');
        World world({206, body, end == "cut off" ? ServerAnswer::cutOff : ServerAnswer::chunked,
                     "Content-Range: bytes 5-9/10\r\n"},
                    kind);
        std::unique_ptr<HttpTask> task;
        QStringList heads;
        qint64 got = 0;
        world.request.head = [&](const HttpResponse& head) {
            heads << QString::number(head.status) + ' ' + head.header("content-range");
            return end != "head";
        };
        world.request.piece = [&](const QByteArray& piece) {
            got += piece.size();
            if (end == "handle") task.reset();
            return end != "piece";
        };
        std::optional<HttpResult> result;
        task =
            world.client->send(world.request, [&](HttpResult done) { result = std::move(done); });
        if (kind == Kind::fake)
            static_cast<FakeHttpClient&>(*world.client)
                .answer({206, body, {{"Content-Range", "bytes 5-9/10"}}});
        QTRY_VERIFY_WITH_TIMEOUT(result || !task, patience);
        if (end == "handle") QTest::qWait(50);
        QCOMPARE(result.has_value(), end != "handle");
        QVERIFY(!result || result->has_value() == (end == "whole"));
        QCOMPARE(heads, QStringList{"206 bytes 5-9/10"});
        if (end == "whole") QVERIFY(got == body.size() && (*result)->body.isEmpty());
        if (end == "head") QCOMPARE(got, 0);
        if (end != "whole" && end != "cut off" && kind != Kind::fake) QVERIFY(got < body.size());
    }

    void aRequestArrivesByteForByteAndLeavesNoConnectionAndNoCookie_data() { addRealKinds(); }
    void aRequestArrivesByteForByteAndLeavesNoConnectionAndNoCookie() {
        World world({200, "", ServerAnswer::complete, "Set-Cookie: a=b\r\n"}, kindOfRow());
        world.request.method = "POST";
        world.request.headers = {{"Content-Type", "multipart/form-data; boundary=X"},
                                 {"X-Other", "1"}};
        for (int at = 0; at < 3'000'000; ++at) world.request.body.append(static_cast<char>(at * 7));
        for (int count = 1; count <= 3; ++count) {
            QVERIFY(world.fetch());
            QCOMPARE(world.server.requests.size(), count);
            QCOMPARE(world.server.connections, count);
            const ReceivedRequest& received = world.server.requests.last();
            QVERIFY(received.body == world.request.body);
            QVERIFY(received.head.startsWith("post /path http/1.1\r\n"));
            QVERIFY(!received.head.contains("\r\nupgrade:"));
            QVERIFY(!received.head.contains("\r\ncookie:"));
            for (const char* line : {"content-type: multipart/form-data; boundary=x", "x-other: 1",
                                     "accept-encoding: identity", "connection: close"})
                QVERIFY2(received.head.contains(QByteArray("\r\n") + line + "\r\n"), line);
        }
    }

    void aStreamWaitsForAReaderThatIsBusyAndEndsWithItsClient() {
        const QByteArray body(20 * 1024 * 1024, 'x');
        World world({200, body}, Kind::threaded);
        qint64 got = 0;
        bool ended = false;
        QEventLoop untilTheFirst; // waiting for longer would take the whole on a fast machine
        world.request.piece = [&](const QByteArray& piece) {
            got += piece.size();
            untilTheFirst.quit();
            return true;
        };
        const auto task =
            world.client->send(world.request, [&](const HttpResult&) { ended = true; });
        untilTheFirst.exec();
        world.client.reset(); // with pieces on their way, and the network waiting for room
        const qint64 before = got;
        QTRY_COMPARE_WITH_TIMEOUT(world.server.openConnections, 0, patience);
        QVERIFY(got == before && !ended);
    }

    void onlyWhatLeavesThisComputerNeedsTheThread() {
        for (const char* host : {"localhost", "LocalHost", "127.0.0.1", "127.8.8.8", "::1"})
            QVERIFY2(QtHttpClient::isLoopback(host), host);
        for (const char* host : {"localhost.example.org", "10.0.0.1", "::", "example.org", ""})
            QVERIFY2(!QtHttpClient::isLoopback(host), host);
    }
};

} // namespace murlo

QTEST_GUILESS_MAIN(murlo::HttpClientContractTest)
#include "HttpClientContractTest.moc"
