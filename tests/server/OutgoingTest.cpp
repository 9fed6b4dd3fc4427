#include "MurloBackend/outgoing/NetworkOutgoing.h"
#include "tests/harness/LoopbackServer.h"

#include <QTest>

#include <atomic>

namespace murlo::backend {

class OutgoingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void answers_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("manner");
        QTest::addColumn<qint64>("size");
        QTest::addColumn<int>("outcome"); // a status, or a fault below 0
        const auto fault = [](OutgoingFault kind) { return -1 - static_cast<int>(kind); };
        const qint64 most = Outgoing::largestBody;
        for (const int status : {200, 302, 400, 429, 503})
            QTest::addRow("%d", status)
                << status << int(ServerAnswer::complete) << qint64{9} << status;
        QTest::newRow("largest") << 200 << int(ServerAnswer::chunked) << most << 200;
        for (const auto manner : {ServerAnswer::complete, ServerAnswer::chunked})
            QTest::addRow("too large %d", manner)
                << 200 << int(manner) << most + 1 << fault(OutgoingFault::tooLarge);
        QTest::newRow("cut off") << 200 << int(ServerAnswer::cutOff) << qint64{9}
                                 << fault(OutgoingFault::unreachable);
        QTest::newRow("no HTTP") << 200 << int(ServerAnswer::bare) << qint64{9}
                                 << fault(OutgoingFault::unreachable);
        QTest::newRow("silent") << 200 << int(ServerAnswer::never) << qint64{9}
                                << fault(OutgoingFault::timedOut);
    }
    void answers() {
        QFETCH(int, status);
        QFETCH(int, manner);
        QFETCH(qint64, size);
        LoopbackServer server;
        server.answer = {status, QByteArray(size, 'x'), ServerAnswer::Manner(manner),
                         "Location: " + server.url().toEncoded() + "\r\nX-Name: value\r\n"};
        NetworkOutgoing outgoing;
        std::atomic<int> result = 0, calls = 0;
        QByteArray header; // read only after `calls` changed
        outgoing.send({.url = server.url(),
                       .method = "POST",
                       .headers = {{"X-Said", "yes"}, {"Content-Type", "text/plain"}},
                       .body = "words",
                       .timeout = manner == ServerAnswer::never ? 0.05 : 20},
                      [&](const Outgoing::Result& got) {
                          if (got) header = got->header("x-name");
                          result = got && got->body.size() == size ? got->status
                                   : got                           ? 0
                                         : -1 - static_cast<int>(got.error());
                          ++calls;
                      });
        QTRY_COMPARE_WITH_TIMEOUT(calls.load(), 1, 20'000);
        QTEST(result.load(), "outcome");
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
