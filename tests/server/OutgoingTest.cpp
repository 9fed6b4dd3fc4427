#include "MurloBackend/outgoing/NetworkOutgoing.h"
#include "tests/harness/LoopbackServer.h"
#include "tests/harness/Rows.h"

#include <QTest>

#include <atomic>

namespace murlo::backend {

class OutgoingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void answers_data() {
        // Status, manner and size of the answer; a status of the outcome, or a fault below 0.
        const Rows<int, ServerAnswer::Manner, qint64, int> row;
        const auto fault = [](OutgoingFault kind) { return -1 - static_cast<int>(kind); };
        const qint64 most = Outgoing::largestBody;
        for (const int status : {200, 302, 400, 429, 503})
            row(QByteArray::number(status), status, ServerAnswer::complete, 9, status);
        row("largest", 200, ServerAnswer::chunked, most, 200);
        row("too large", 200, ServerAnswer::complete, most + 1, fault(OutgoingFault::tooLarge));
        row("too large in chunks", 200, ServerAnswer::chunked, most + 1,
            fault(OutgoingFault::tooLarge));
        row("cut off", 200, ServerAnswer::cutOff, 9, fault(OutgoingFault::unreachable));
        row("no HTTP", 200, ServerAnswer::bare, 9, fault(OutgoingFault::unreachable));
        row("silent", 200, ServerAnswer::never, 9, fault(OutgoingFault::timedOut));
    }
    void answers() {
        const auto row = fetch<int, ServerAnswer::Manner, qint64, int>();
        const auto [status, manner, size, outcome] = row;
        LoopbackServer server;
        server.answer = {status, QByteArray(size, 'x'), manner,
                         "Location: " + server.url().toEncoded() + "\r\nX-Name: value\r\n"};
        NetworkOutgoing outgoing;
        std::atomic<int> result = 0, calls = 0;
        QByteArray header; // read only after `calls` changed
        outgoing.send(
            {.url = server.url(),
             .method = "POST",
             .headers = {{"X-Said", "yes"}, {"Content-Type", "text/plain"}},
             .body = "words",
             .timeout = manner == ServerAnswer::never ? 0.05 : 20},
            [&](const Outgoing::Result& got) {
                if (got) header = got->header("x-name");
                const bool whole = got && got->body.size() == std::get<qint64>(row);
                result = whole ? got->status : got ? 0 : -1 - static_cast<int>(got.error());
                ++calls;
            });
        QTRY_COMPARE_WITH_TIMEOUT(calls.load(), 1, 20'000);
        QCOMPARE(result.load(), outcome);
        if (result > 0) QCOMPARE(header, "value");
        QCOMPARE(server.requests[0].body, "words");
        QVERIFY(server.requests[0].head.contains("x-said: yes"));
    }

    void onlyHttpsAndLoopbackAreAsked() {
        for (const char* good : {"https://a.example/x", "http://127.0.0.1:8/x", "http://[::1]/"})
            QVERIFY2(Outgoing::mayAsk(QUrl(good)), good);
        for (const char* bad :
             {"http://a.example/", "http://127.0.0.1.evil.example/", "ftp://127.0.0.1/",
              "file:///etc/passwd", "https:///x", "http://localhost/", ""})
            QVERIFY2(!Outgoing::mayAsk(QUrl(bad)), bad);
        NetworkOutgoing outgoing;
        OutgoingFault fault{};
        outgoing.send({.url = QUrl("http://a.example/")},
                      [&](const Outgoing::Result& result) { fault = result.error(); });
        QCOMPARE(fault, OutgoingFault::forbidden);
    }

    void whatIsUnderWayCompletesAtTheEnd() {
        LoopbackServer server;
        server.answer.manner = ServerAnswer::never;
        std::atomic<int> unreachable = 0;
        {
            NetworkOutgoing outgoing;
            const auto again = [&](const Outgoing::Result&) {
                outgoing.send({.url = server.url()}, [&](const Outgoing::Result& result) {
                    unreachable += result.error() == OutgoingFault::unreachable;
                });
            };
            outgoing.send({.url = server.url()}, again);
            QTRY_COMPARE(server.requests.size(), 1);
        }
        QCOMPARE(unreachable.load(), 1);
    }
};

} // namespace murlo::backend

QTEST_GUILESS_MAIN(murlo::backend::OutgoingTest)
#include "OutgoingTest.moc"
