#include "MurloBackend/Service.h"
#include "MurloBackend/store/Connection.h"
#include "tests/harness/Files.h"
#include "tests/harness/Rows.h"
#include "tests/server/HttpProbe.h"

#include <QTemporaryDir>
#include <QTest>

#include <thread>

namespace murlo::backend {

namespace {

/// JSON with back quotes for quotation marks.
QByteArray json(const char* text) {
    return QByteArray(text).replace('`', '"');
}

const QByteArray goodSettings = json(
    "{`triggerKey`:`leftShift`,`pickTargetKey`:`rightShift`,`insertMode`:`paste`,`language`:`en`,"
    "`playSounds`:true,`doubleTapWindow`:0.30,`holdThreshold`:1,`maxRecordingSeconds`:300,"
    "`initialPrompt`:`Zoë \\`}{\\`, \\u0000'); DROP TABLE "
    "settings;--`,`future`:[1.0,{`a`:12345678901234567890}]}");
const QByteArray goodPing = json("{`installId`:`6F9619FF-8B86-D011-B42D-00C04FC964FF`,`stage`:`"
                                 "launched`,`clientTs`:`2026-11-16T20:28:18Z`}");
const QByteArray goodReport =
    json("{`id`:`0B000000-0000-4000-8000-000000000001`,`kind`:`sync_failed`,`message`:`server "
         "error 503`,`clientTs`:`2026-11-16T20:28:18Z`,`appVersion`:`dev`}");

/// A server with a database of its own, and a client that has signed in.
struct Rig {
    explicit Rig(int keys = 5) {
        configuration.port = 0;
        configuration.clientId = QStringLiteral("desktop.apps.murlo.local");
        configuration.redirectUri = QStringLiteral("local.murlo.apps.desktop:/oauth2redirect");
        configuration.database = folder.filePath("murlo.db");
        configuration.releaseFile = folder.filePath("release.json");
        configuration.keysPerAccount = keys;
        configuration.peerRate = configuration.accountRate = 0;
        start();
        idToken = signIn(*probe);
        key = signUp(*probe, idToken);
    }
    void start() {
        service = std::make_unique<Service>(configuration);
        port = service->start().value_or(Endpoint{}).port;
        probe = std::make_unique<HttpProbe>(port);
    }
    /// The rows of a query on the database, joined.
    QString rows(const QString& query) {
        Connection connection(*DatabaseAddress::parse(configuration.database));
        if (!connection.open()) return connection.fault();
        const auto found = connection.select(query);
        if (!found) return connection.fault();
        QStringList lines;
        for (const QVariantList& row : *found) {
            QStringList cells;
            for (const QVariant& cell : row) cells << cell.toString();
            lines << cells.join('|');
        }
        return lines.join('\n');
    }

    QTemporaryDir folder;
    Configuration configuration;
    std::unique_ptr<Service> service;
    quint16 port = 0;
    std::unique_ptr<HttpProbe> probe;
    QByteArray idToken, key;
};

QByteArray batch(const QByteArray& name, const QByteArrayList& records) {
    return "{\"" + name + "\":[" + records.join(',') + "]}";
}

} // namespace

class EndpointsTest : public QObject {
    Q_OBJECT

    std::unique_ptr<Rig> rig;

private Q_SLOTS:
    void initTestCase() {
        rig = std::make_unique<Rig>();
        QVERIFY(!rig->key.isEmpty());
    }

    void answers_data() {
        // The request (method, path, "key" or "bad" or "none", type) and its body; the answer's
        // status and a part of its head or body.
        const Rows<QByteArray, QByteArray, int, QByteArray> row;
        const QByteArray type = " application/json";
        const QByteArray none = "none" + type, key = "key" + type, bad = "bad" + type;
        const QByteArray event = batch("events", {usageEvent(1)});
        row("health", "GET /health " + none, {}, 200, json("{`status`:`ok`}"));
        row("unknown path", "GET /accounts " + none, "", 404);
        row("wrong method", "DELETE /settings " + key, {}, 405, "allow: get, put");
        row("signup: refused token", "POST /signup " + none, json("{`idToken`:`a.b.c`}"), 401,
            "www-authenticate: bearer");
        row("signup: no token", "POST /signup " + none, json("{`idToken`:5}"), 400);
        row("events: no key", "POST /events " + none, event, 401, "www-authenticate: bearer");
        row("events: unknown key", "POST /events " + bad, event, 401);
        row("events: bad body, unknown key", "POST /events " + bad, "{", 401);
        row("events: bad body, live key", "POST /events " + key, "{", 400);
        row("events: not an array", "POST /events " + key, json("{`events`:{}}"), 400);
        row("events: empty", "POST /events " + key, json("{`events`:[]}"), 200,
            json("{`accepted`:0}"));
        row("events: form", "POST /events key text/plain", event, 415);
        row("events: charset", "POST /events key application/json;charset=utf-8", event, 200);
        row("events: deep", "POST /events " + key, QByteArray(100'000, '['), 400);
        row("events: not UTF-8", "POST /events " + key, json("{`events`:[`\xff\xfe`]}"), 400);
        row("errors", "POST /errors " + key, batch("errors", {goodReport}), 200,
            json("{`accepted`:1}"));
        row("funnel", "POST /funnel " + none, goodPing, 200, "{}");
        for (const char* good : {"2026-11-16", "6F9619FF-", "launched"})
            row(good, "POST /funnel " + none, QByteArray(goodPing).replace(good, "x"), 400);
        row("settings: none yet", "GET /settings " + key, {}, 200, "{}");
        row("settings: no key", "GET /settings " + none, "", 401);
        row("settings: not the members", "PUT /settings " + key,
            json("{`settings`:{`language`:5}}"), 400);
        row("settings: no record", "PUT /settings " + key, json("{`settings`:null}"), 400);
        row("settings: over 1 MB", "PUT /settings " + key,
            json("{`settings`:") +
                QByteArray(goodSettings).replace("Zoë", QByteArray(1100 * 1024, 'x')) + '}',
            413);
        row("polish", "POST /polish " + key,
            json("{`text`:`um, so this is the the plan`,`targetApp`:`org.example.Mail`}"), 200,
            json("{`text`:`"));
        row("polish: no key", "POST /polish " + none, json("{`text`:`hello`}"), 401);
        row("polish: no text", "POST /polish " + key, json("{`targetApp`:`x`}"), 400);
    }
    void answers() {
        const auto [request, body, status, contains] =
            fetch<QByteArray, QByteArray, int, QByteArray>();
        const auto words = request.split(' ');
        QByteArray key = words[2] == "key" ? rig->key : QByteArray();
        if (words[2] == "bad") key = "nokey";
        const Answer answer =
            rig->probe->ask(words[0], words[1], body, key, "Content-Type: " + words[3] + "\r\n");
        QCOMPARE(answer.status, status);
        QVERIFY2(contains.isEmpty() || answer.head.contains(contains) ||
                     answer.body.contains(contains),
                 answer.head + answer.body);
        QVERIFY(QJsonDocument::fromJson(answer.body).isObject());
    }

    void goodRecordsOfABatchAreStoredOnce() {
        const QByteArray injection = "x'); DROP TABLE usage_events;-- \\\"?\\u0007";
        QByteArrayList records{usageEvent(100),
                               usageEvent(101, injection),
                               "5",
                               "null",
                               usageEvent(102, QByteArray(1024 * 1024, 'a')), // too long a name
                               usageEvent(103).replace("T20", " 20"),
                               usageEvent(104).replace("2.5", "\"2.5\""),
                               usageEvent(105).replace(":7", ":7.5"),
                               usageEvent(106).replace("0A0", "0 A"),
                               usageEvent(107, "nul\\u0000")};
        const Answer first = rig->probe->ask("POST", "/events", batch("events", records), rig->key);
        QCOMPARE(first.body, QByteArray(json("{`accepted`:2}")));
        const Answer again = rig->probe->ask(
            "POST", "/events", batch("events", {usageEvent(100), usageEvent(109)}), rig->key);
        QCOMPARE(again.body, QByteArray(json("{`accepted`:2}")));
        QCOMPARE(
            rig->rows(
                "SELECT target_app FROM usage_events WHERE id LIKE '%00000000006%' ORDER BY id"),
            QString(
                "org.example.Editor\nx'); DROP TABLE usage_events;-- \"?\a\norg.example.Editor"));
    }

    void tenThousandEventsFitInABatch() {
        QByteArrayList records;
        for (int i = 0; i < 10'000; ++i) records << usageEvent(1'000'000 + i, "a");
        const Answer answer =
            rig->probe->ask("POST", "/events", batch("events", records), rig->key);
        QCOMPARE(answer.body, QByteArray(json("{`accepted`:10000}")));
        QCOMPARE(rig->rows("SELECT count(*) FROM usage_events WHERE target_app = 'a'"),
                 QString("10000"));
    }

    void settingsComeBackToTheByteAfterARestart() {
        for (const int padding : {0, 1024 * 1024 - 1000}) { // as long as they may be
            const QByteArray record =
                QByteArray(goodSettings).replace("Zoë", "Zoë" + QByteArray(padding, 'x'));
            const QByteArray body = "{\"settings\":" + record + "}";
            QCOMPARE(rig->probe->ask("PUT", "/settings", body, rig->key).status, 200);
            rig->service->stop();
            rig->start();
            QCOMPARE(rig->probe->ask("GET", "/settings", {}, rig->key).body, body);
        }
    }

    void anAccountHasItsNewestKeysOnly() {
        for (const int keys : {1, 5}) {
            Rig own(keys);
            QByteArrayList all{own.key};
            for (int i = 0; i < keys + 1; ++i) all << signUp(*own.probe, signIn(*own.probe));
            for (int i = 0; i < all.size(); ++i)
                QCOMPARE(own.probe->ask("GET", "/settings", {}, all[i]).status,
                         i < all.size() - keys ? 401 : 200);
            // Of a token that comes again, since the answer was lost, only the last key counts.
            const QByteArray token = signIn(*own.probe);
            const QByteArray lost = signUp(*own.probe, token);
            QVERIFY(!signUp(*own.probe, token).isEmpty());
            QCOMPARE(own.probe->ask("GET", "/settings", {}, lost).status, 401);
            // Another address typed on the same computer is the same account.
            QVERIFY(!signUp(*own.probe, signIn(*own.probe, "other@localhost")).isEmpty());
            QCOMPARE(own.rows("SELECT count(*), max(email) FROM accounts"),
                     QString("1|other@localhost"));
            QVERIFY(!own.rows("SELECT hash FROM api_keys").contains(all.last()));
        }
    }

    void signUpsAtOnceKeepTheLimit() {
        Rig own(5);
        std::vector<std::thread> threads;
        std::array<QByteArray, 8> keys;
        for (QByteArray& key : keys)
            threads.emplace_back([&, token = signIn(*own.probe)] {
                HttpProbe probe(own.port);
                for (int i = 0; i < 5; ++i) key = signUp(probe, token);
            });
        for (std::thread& thread : threads) thread.join();
        for (const QByteArray& key : keys) QVERIFY(!key.isEmpty());
        QCOMPARE(own.rows("SELECT count(*) FROM api_keys"), QString("5"));
    }

    void theReleaseFileIsReadAgain() {
        const QString file = rig->configuration.releaseFile;
        const auto latest = [&] {
            return rig->probe->ask("GET", "/version").json()["latest"].toString();
        };
        const QString own = latest();
        QVERIFY(!own.isEmpty());
        putFile(file, json("{`latest`:`1.4.2`,`minimum`:`1.2.0`,`url`:`https://example.org`,"
                           "`notes`:``}"));
        QCOMPARE(latest(), QString("1.4.2"));
        putFile(file, json("{`latest`:`1.4.2`,`minimum`:"));
        QCOMPARE(latest(), own);
        QFile::remove(file);
        QCOMPARE(latest(), own);
    }

    void tooManyRequestsAreToldWhenToComeBack() {
        Rig own;
        own.service->stop();
        own.configuration.peerRate = 1; // and ten at once
        own.configuration.proxyTrust = true;
        own.start();
        const auto ask = [&](const QByteArray& client) {
            return own.probe->ask("GET", "/version", {}, {},
                                  "X-Forwarded-For: 10.0.0.9\r\nX-Forwarded-For: 10.0.0.8, " +
                                      client + "\r\n");
        };
        for (int i = 0; i < 10; ++i) QCOMPARE(ask("10.0.0.1").status, 200);
        const Answer refused = ask("10.0.0.1");
        QCOMPARE(refused.status, 429);
        QVERIFY(refused.head.contains("retry-after: 1"));
        QCOMPARE(ask("10.0.0.2").status, 200);

        own.service->stop();
        own.configuration.peerRate = 0;
        own.configuration.accountRate = 1;
        own.start();
        for (int i = 0; i < 10; ++i)
            QCOMPARE(own.probe->ask("GET", "/settings", {}, own.key).status, 200);
        QCOMPARE(own.probe->ask("GET", "/settings", {}, own.key).status, 429);
        QCOMPARE(own.probe->ask("GET", "/settings", {}, "unknown").status, 401);
    }
};

} // namespace murlo::backend

QTEST_GUILESS_MAIN(murlo::backend::EndpointsTest)
#include "EndpointsTest.moc"
