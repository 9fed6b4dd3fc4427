#include "MurloBackend/http/HttpServer.h"
#include "MurloBackend/http/RateLimiter.h"
#include "tests/harness/Rows.h"
#include "tests/server/HttpProbe.h"

#include <QTest>

#include <atomic>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace murlo::backend {

namespace {

constexpr qint64 bodyLimit = 64 * 1024;

/// A server with small limits that answers with the length of what it got; it keeps the answer to
/// "/later".
struct Front {
    explicit Front(std::optional<uint> onlyUser = {}, bool runs = true) {
        HttpOptions options;
        options.connections = 30;
        options.bodyLimit = bodyLimit;
        options.readLimit = std::chrono::seconds(onlyUser ? 60 : 1);
        options.onlyUser = onlyUser;
        server = std::make_unique<HttpServer>(
            options, [this](const Request& request, const QByteArray&, const Respond& respond) {
                if (request.path == "/later") {
                    later = respond;
                    hasLater = true;
                    return;
                }
                Reply reply;
                reply.body = QByteArray::number(request.body.size());
                respond(reply);
            });
        port = server->listen().value_or(Endpoint{}).port;
        if (runs) server->run();
    }
    std::unique_ptr<HttpServer> server;
    quint16 port = 0;
    Respond later;
    std::atomic<bool> hasLater = false;
};

QByteArray chunked(qsizetype size, qsizetype piece) {
    QByteArray bytes = "POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n";
    for (qsizetype at = 0; at < size; at += piece)
        bytes += QByteArray::number(piece, 16) + "\r\n" + QByteArray(piece, 'x') + "\r\n";
    return bytes + "0\r\n\r\n";
}

} // namespace

class FrontTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whatExceedsALimitIsAnswered_data() {
        const Rows<QByteArray, int> row; // what is sent, and the status of the answer
        const auto post = [](const QByteArray& length, qsizetype size) {
            return "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: " + length + "\r\n\r\n" +
                   QByteArray(size, 'x');
        };
        const QByteArray get = "GET / HTTP/1.1\r\nHost: a\r\n";
        QByteArray flood = get;
        for (int i = 0; i < 200; ++i) flood += "X-" + QByteArray::number(i) + ": y\r\n";
        row("longest body", post("65536", bodyLimit), 200);
        row("one byte more", post("65537", bodyLimit + 1), 413);
        row("50 MB", post("52428800", 50 * 1024 * 1024), 413);
        row("announced, not sent", post("999999999999", 3), 413);
        row("length beyond numbers", post("99999999999999999999999", 3), 400);
        row("negative length", post("-5", 3), 400);
        row("two lengths", post("3\r\nContent-Length: 4", 4), 400);
        row("length and chunks", post("3\r\nTransfer-Encoding: chunked", 3), 400);
        row("blank before a colon", post("3\r\nX : y", 3), 400);
        row("chunked", chunked(bodyLimit, 1024), 200);
        row("chunked, too long", chunked(4 * 1024 * 1024, 1024), 413);
        row("a chunk for each byte", chunked(20'000, 1), 413);
        row("header flood", flood + "\r\n", 431);
        row("endless header", get + "X: " + QByteArray(1024 * 1024, 'y') + "\r\n\r\n", 431);
        row("long header name", get + QByteArray(300, 'n') + ": y\r\n\r\n", 431);
        row("long address", "GET /" + QByteArray(9000, 'a') + " HTTP/1.1\r\nHost: a\r\n\r\n", 414);
        row("no HTTP", "hello\r\n\r\n", 400);
        row("TLS", QByteArray::fromHex("16030100c8010000c40303"), 400);
        row("unknown method", "BREW / HTTP/1.1\r\nHost: a\r\n\r\n", 400);
        row("HTTP/1.0", "GET / HTTP/1.0\r\n\r\n", 200);
        row("HTTP/2.0", "POST / HTTP/2.0\r\nHost: a\r\nContent-Length: 3\r\n\r\nabc", 505);
        row("offer of another protocol", get + "Connection: Upgrade\r\nUpgrade: websocket\r\n\r\n",
            200);
    }
    void whatExceedsALimitIsAnswered() {
        const auto [bytes, status] = fetch<QByteArray, int>();
        Front front;
        HttpProbe probe(front.port);
        const Answer answer = probe.send(bytes);
        QCOMPARE(answer.status, status);
        if (answer.status != 200) QVERIFY(answer.json().contains("error"));
        // The server is well afterwards.
        QCOMPARE(HttpProbe(front.port).send("GET / HTTP/1.1\r\nHost: a\r\n\r\n").status, 200);
    }

    void manyRequestsShareAConnection() {
        Front front;
        HttpProbe probe(front.port);
        const QByteArray one = "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 3\r\n\r\nabc";
        QVERIFY(probe.connected());
        probe.socket().write(one.repeated(10));
        QByteArray answers;
        while (answers.count("200 OK") < 10 && probe.socket().waitForReadyRead(20'000))
            answers += probe.socket().readAll();
        QCOMPARE(answers.count("200 OK"), 10);
        QCOMPARE(probe.send("HEAD / HTTP/1.1\r\nHost: a\r\n\r\n").status, 200);
    }

    void whoAsksFirstIsToldToSendTheBody() {
        Front front;
        HttpProbe probe(front.port);
        const QByteArray head =
            "POST / HTTP/1.1\r\nHost: a\r\nExpect: 100-continue\r\nContent-Length: ";
        for (int i = 0; i < 2; ++i) { // on one connection
            QCOMPARE(probe.send(head + "3\r\n\r\n").status, 100);
            QCOMPARE(probe.send("abc").body, QByteArray("3"));
        }
        QCOMPARE(probe.send(head + "3\r\n\r\nabc").status, 200); // did not wait
        QCOMPARE(probe.send(head + "65537\r\n\r\n").status, 413);
    }

    void aSlowClientIsCutOff() {
        Front front;
        HttpProbe probe(front.port);
        QVERIFY(probe.connected());
        probe.socket().write("POST / HTTP/1.1\r\nContent-Le");
        QVERIFY(probe.socket().waitForDisconnected(20'000));
    }

    void strangersAreTurnedAway_data() {
        // Headers, with PORT for the server's, the status, and the target unless it is "/".
        const Rows<QByteArray, int, QByteArray> row;
        row("own address", "Host: 127.0.0.1:PORT\r\n", 200);
        row("localhost", "Host: localhost:PORT\r\n", 200);
        row("own origin", "Host: 127.0.0.1:PORT\r\nOrigin: http://127.0.0.1:PORT\r\n", 200);
        row("no host", "", 403);
        row("another name", "Host: evil.example:PORT\r\n", 403);
        row("name that resolves here", "Host: 127.0.0.1.example:PORT\r\n", 403);
        row("another port", "Host: 127.0.0.1:1\r\n", 403);
        row("absolute target", "Host: evil.example\r\n", 200, "HTTP://localhost:PORT?a=b");
        row("foreign absolute target", "Host: localhost:PORT\r\n", 403, "http://evil.example/");
        row("two hosts", "Host: 127.0.0.1:PORT\r\nHost: evil.example\r\n", 403);
        row("foreign page", "Host: 127.0.0.1:PORT\r\nOrigin: https://evil.example\r\n", 403);
        row("hidden page", "Host: 127.0.0.1:PORT\r\nOrigin: null\r\n", 403);
    }
    void strangersAreTurnedAway() {
        const auto [headers, status, target] = fetch<QByteArray, int, QByteArray>();
        Front front(::getuid());
        HttpProbe probe(front.port);
        QByteArray bytes =
            "GET " + (target.isEmpty() ? "/" : target) + " HTTP/1.1\r\n" + headers + "\r\n";
        bytes.replace("PORT", QByteArray::number(front.port));
        QCOMPARE(probe.send(bytes).status, status);
    }

    void anotherUserHoldsNoPlace() {
        if (::getuid() != 0) QSKIP("becoming another user needs root");
        Front front(::getuid());
        const pid_t child = ::fork();
        if (child == 0) {
            constexpr uid_t nobody = 65534;
            if (::setuid(nobody) != 0) ::_exit(99);
            bool isClosed = true;
            for (int i = 0; i < 100 && isClosed;
                 ++i) { // more than there are places; it need not ask
                HttpProbe probe(front.port);
                isClosed = probe.connected() && probe.socket().waitForDisconnected(20'000);
            }
            ::_exit(isClosed ? 0 : 1);
        }
        int status = -1;
        ::waitpid(child, &status, 0);
        QCOMPARE(status, 0);
        QCOMPARE(HttpProbe(front.port).ask("GET", "/").status, 200);
    }

    void whoLeavesBeforeItIsAcceptedHoldsNoPlace() {
        Front front({}, false);
        for (int i = 0; i < 100; ++i) {
            HttpProbe probe(front.port);
            QVERIFY(probe.connected());
            const linger reset{1, 0};
            ::setsockopt(static_cast<int>(probe.socket().socketDescriptor()), SOL_SOCKET, SO_LINGER,
                         &reset, sizeof reset);
            probe.socket().close();
        }
        front.server->run();
        QCOMPARE(HttpProbe(front.port).ask("GET", "/").status, 200);
    }

    void theKernelsTableIsRead() {
        const QByteArray v4 = "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when "
                              "retrnsmt   uid  timeout inode\n"
                              "   0: 0100007F:2235 0100007F:D431 01 00000000:00000000 00:00000000 "
                              "00000000     0        0 11 1 0\n"
                              "   1: 0100007F:D431 0100007F:2235 01 00000000:00000000 00:00000000 "
                              "00000000  1000        0 12 1 0\n"
                              "   2: 0100007F:D432 0100007F:2235 05 00000000:00000000 00:00000000 "
                              "00000000     0        0 0 1 0\n";
        const QByteArray v6 = "   0: 00000000000000000000000001000000:D431 "
                              "00000000000000000000000001000000:2235 01 0:0 00:0 0  1001 0 14 1\n";
        const Endpoint own{QHostAddress::LocalHost, 0x2235},
            own6{QHostAddress::LocalHostIPv6, 0x2235};
        const auto user = [&](const QByteArray& table, const Endpoint& end, quint16 port) {
            return static_cast<int>(userInTable(table, {end.address, port}, end).value_or(-1));
        };
        QCOMPARE(user(v4, own, 0xD431), 1000);
        QCOMPARE(user(v4, own, 0xD432), -1); // closed by its process: user 0 means nothing
        QCOMPARE(user(v4, own, 0xD433), -1);
        QCOMPARE(user(v6, own6, 0xD431), 1001);
    }

    void whatIsUnderWayIsFinishedAtTheEnd() {
        Front front;
        HttpProbe probe(front.port);
        QVERIFY(probe.connected());
        probe.socket().write("GET /later HTTP/1.1\r\nHost: a\r\n\r\n");
        QVERIFY(probe.socket().waitForBytesWritten());
        while (!front.hasLater) std::this_thread::yield();
        QCOMPARE(front.server->quietFor().count(), 0);
        std::thread stopping([&] { front.server->stop(std::chrono::seconds(20)); });
        front.later(Reply{});
        front.later = {};
        const Answer answer = probe.receive();
        stopping.join();
        QCOMPARE(answer.status, 200);
        QVERIFY(!HttpProbe(front.port).connected());
    }

    void whoWaitsInTheQueueAtTheEndIsAnswered() {
        Front front({}, false);
        std::vector<std::unique_ptr<HttpProbe>> probes;
        for (int i = 0; i < 20; ++i) {
            probes.push_back(std::make_unique<HttpProbe>(front.port));
            QVERIFY(probes.back()->connected());
            probes.back()->socket().write("GET / HTTP/1.1\r\nHost: a\r\n\r\n");
            QVERIFY(probes.back()->socket().waitForBytesWritten());
        }
        front.server->run();
        front.server->stop(std::chrono::seconds(20));
        for (const auto& probe : probes) QCOMPARE(probe->receive().status, 200);
    }

    void callersHaveARateAndABurst() {
        RateLimiter limiter(2); // a second, and 20 at once
        const RateLimiter::Time start{};
        const auto taken = [&](const QByteArray& caller, std::chrono::milliseconds at) {
            int count = 0;
            while (!limiter.take(caller, start + at)) ++count;
            return count;
        };
        QCOMPARE(taken("a", std::chrono::seconds(0)), 20);
        QCOMPARE(limiter.take("a", start), std::optional<int>(1));
        QCOMPARE(taken("b", std::chrono::seconds(0)), 20);
        QCOMPARE(taken("a", std::chrono::milliseconds(1500)), 3);
        QCOMPARE(taken("a", std::chrono::hours(1)), 20);
        for (int i = 0; i < 5000; ++i) (void)limiter.take(QByteArray::number(i), start);
        QCOMPARE(taken("b", std::chrono::seconds(1)), 2); // remembered among many
        QCOMPARE(RateLimiter(0).take("a", start), std::optional<int>());
    }
};

} // namespace murlo::backend

QTEST_GUILESS_MAIN(murlo::backend::FrontTest)
#include "FrontTest.moc"
