#include "setup/ModelDownload.h"
#include "look/Words.h"
#include "platform/linux/qt/QtHttpClient.h"
#include "platform/linux/qt/QtScheduler.h"
#include "setup/ModelFile.h"
#include "tests/fakes/FakeFileSystem.h"
#include "tests/fakes/FakeReachability.h"
#include "tests/harness/FullDisk.h"
#include "tests/harness/LoopbackServer.h"
#include "tests/harness/ModelFiles.h"
#include "tests/harness/Rows.h"
#include "tests/harness/SupportFolder.h"
#include "tests/harness/TestLog.h"

using namespace murlo;

namespace {

const QByteArray oldModel = tinyModel(40'000, 'a');
const QByteArray newModel = tinyModel(41'000, 'b');
constexpr int dropAt = 10'000; // bytes of the old model that have come before the next attempt

const QString blocked = "The download was blocked. If you're on a work or school network, try "
                        "another connection.";
const QString refused = "The download server had a problem. Please try again.";
const QString cutOff = "Couldn't reach the server. Check your Wi-Fi and try again.";
const QString unsaved = "Couldn't save the speech engine. Please try again.";

using Answer = std::function<ServerAnswer(const ReceivedRequest&)>;

/// The value of a request's header, which is in lower case.
QByteArray valueOf(const ReceivedRequest& request, const QByteArray& header) {
    const auto at = request.head.indexOf("\r\n" + header + ": ");
    if (at < 0) return {};
    const auto begin = at + header.size() + 4;
    return request.head.mid(begin, request.head.indexOf("\r\n", begin) - begin);
}

ServerAnswer says(int status, const QByteArray& headers, const QByteArray& body = {}) {
    return {status, body, ServerAnswer::complete, headers};
}

/// A server that has this file and follows the rules.
Answer has(const QByteArray& model, const QByteArray& tag) {
    return [=](const ReceivedRequest& request) {
        const QByteArray etag = "ETag: \"" + tag + "\"\r\n";
        const QByteArray range = valueOf(request, "range");
        if (range.isEmpty() || valueOf(request, "if-range") != '"' + tag + '"')
            return says(200, etag, model);
        const auto first = range.mid(6).chopped(1).toLongLong();
        const QByteArray size = QByteArray::number(model.size());
        if (first >= model.size()) return says(416, "Content-Range: bytes */" + size + "\r\n");
        return says(206,
                    etag + "Content-Range: bytes " + QByteArray::number(first) + '-' +
                        QByteArray::number(model.size() - 1) + '/' + size + "\r\n",
                    model.mid(first));
    };
}

/// The same, whose answer ends after so many bytes of the body.
Answer drops(const Answer& answer, qsizetype after) {
    return [=](const ReceivedRequest& request) {
        const QByteArray whole = answer(request).bytes();
        const auto body = whole.indexOf("\r\n\r\n") + 4;
        return ServerAnswer{0, whole.first(std::max<qsizetype>(body + after, 0)),
                            ServerAnswer::bare};
    };
}

Answer always(const ServerAnswer& answer) {
    return [=](const ReceivedRequest& /*request*/) { return answer; };
}

/// A continuation that claims this range, with these bytes.
Answer continues(const QByteArray& range, const QByteArray& bytes = oldModel.mid(dropAt),
                 const QByteArray& tag = "old") {
    const QByteArray line = range.isEmpty() ? range : "Content-Range: " + range + "\r\n";
    return always(says(206, "ETag: \"" + tag + "\"\r\n" + line, bytes));
}

/// The new model under a length that is not its own.
Answer promises(const QByteArray& length, ServerAnswer::Manner manner = ServerAnswer::bare) {
    const QByteArray head = "HTTP/1.1 200 OK\r\nETag: \"new\"\r\nContent-Length: ";
    return always({0, head + length + "\r\n\r\n" + newModel, manner});
}

struct World : SupportFolder {
    World() {
        server.answerTo = [this](const ReceivedRequest& request) {
            return (answers.size() > 1 ? answers.takeFirst() : answers.first())(request);
        };
        repository = server.url();
        model.file = "model.bin";
        model.bytes = 40'000;
        make();
    }
    void make(Scheduler* on = nullptr) {
        download.reset();
        download = std::make_unique<ModelDownload>(
            ModelDownload::Partners{
                on != nullptr ? *on : scheduler,
                [](Delay delay) { return std::make_unique<QtHttpClient>(delay); }, files,
                reachability},
            paths, repository);
        ModelDownload* from = download.get();
        QObject::connect(from, &ModelDownload::failed, from,
                         [this](const Message& why) { end = Words::english(why); });
        QObject::connect(from, &ModelDownload::installed, from,
                         [this](const QString& path) { end = path; });
        QObject::connect(
            from, &ModelDownload::progressed, from, [this](double progress, const Message& left) {
                shown << QString::number(progress, 'f', 2) + ' ' + Words::english(left);
            });
    }
    /// Lets the sockets speak, and everybody's work run, until this is so.
    [[nodiscard]] bool becomes(const std::function<bool()>& so) {
        return QTest::qWaitFor(
            [&] {
                scheduler.runPending();
                return so();
            },
            20'000);
    }
    /// The end of an attempt: "old" or "new" for an installed model, else why it failed.
    QString attempt(const QList<Answer>& script) {
        answers = script;
        end.clear();
        download->start(model);
        if (!becomes([this] { return !end.isEmpty(); })) return "no end";
        if (end != paths.models() + "/model.bin") return end;
        const QByteArray installed = get("models/model.bin");
        return installed == oldModel ? "old" : installed == newModel ? "new" : "mixed";
    }
    [[nodiscard]] QStringList models() const { return QDir(paths.models()).entryList(QDir::Files); }
    [[nodiscard]] qsizetype part() const { return get("models/model.bin.part").size(); }

    TestLog log{scheduler};
    LoopbackServer server;
    QList<Answer> answers;
    FakeFileSystem files;
    FakeReachability reachability;
    QUrl repository;
    SpeechModel model;
    QString end;
    QStringList shown;
    std::unique_ptr<ModelDownload> download;
};

} // namespace

class ModelDownloadTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aDownloadThatIsCutAnywhereGoesOnFromThere() {
        for (qsizetype at = -40; at < oldModel.size(); at += 1024) {
            World world;
            QCOMPARE(world.attempt({drops(has(oldModel, "old"), at)}), cutOff);
            const qsizetype came = at < ModelFile::magicBytes ? 0 : at;
            QCOMPARE(world.part(), came);
            QVERIFY(!world.models().contains("model.bin"));
            QCOMPARE(world.models().contains("model.resume"), came > 0);
            world.make(); // another process
            QCOMPARE(world.attempt({has(oldModel, "old")}), "old");
            QCOMPARE(world.models(), QStringList{"model.bin"});
            const ReceivedRequest& last = world.server.requests.last();
            QVERIFY(last.head.startsWith("get /path/resolve/main/model.bin "));
            QCOMPARE(valueOf(last, "range"),
                     came > 0 ? "bytes=" + QByteArray::number(came) + "-" : QByteArray());
        }
    }

    void whatTheServerAnswersToAContinuation_data() {
        // The answers, the last of which repeats; the end; bytes of the part afterwards; requests.
        const Rows<QList<Answer>, QString, int, int> row;
        using Named = std::pair<QByteArray, Answer>;
        const Answer honest = has(oldModel, "old");
        const Answer other = has(newModel, "new");
        const auto range = [](qsizetype from, qsizetype total) {
            return "bytes " + QByteArray::number(from) + '-' + QByteArray::number(total - 1) + '/' +
                   QByteArray::number(total);
        };
        const QByteArray rest = oldModel.mid(dropAt);
        const QByteArray right = range(dropAt, oldModel.size());
        row("the rest", {honest}, "old", 0, 1);
        row("the rest, cut", {drops(honest, 3000)}, cutOff, dropAt + 3000, 1);
        row("another file", {other}, "new", 0, 1);
        row("another file, cut", {drops(other, 50)}, cutOff, 50, 1);
        row("the rest of another file", {continues(right, rest, "new"), other}, "new", 0, 2);
        row("only ever ranges", {continues("")}, refused, dropAt, 2);
        for (const auto& [name, answer] :
             {Named{"no range", continues("")},
              Named{"another beginning",
                    continues(range(9999, oldModel.size()), oldModel.mid(9999))},
              Named{"another total", continues(range(dropAt, oldModel.size() + 1), rest + 'x')},
              Named{"no total", continues(right.chopped(5) + '*')},
              Named{"no bytes", continues("pages 1-2/3")},
              Named{"a shorter rest", continues(right, rest.chopped(5))},
              Named{"416 of another file", always(says(416, "Content-Range: bytes */7\r\n"))},
              Named{"416 without a size", always(says(416, ""))}})
            row(name, {answer, honest}, "old", 0, 2);
        for (const int status : {401, 403, 407, 451})
            row(QByteArray::number(status), {always(says(status, ""))}, blocked, dropAt, 1);
        for (const int status : {204, 304, 404, 429, 500, 503})
            row(QByteArray::number(status), {always(says(status, ""))}, refused, dropAt, 1);
        for (const auto& [name, answer] :
             {Named{"a network's page", always(says(200, "", "<html>Welcome to our hotel"))},
              Named{"a short page", always(says(200, "", "ok"))},
              Named{"nothing", always(says(200, ""))},
              Named{"compressed", always(says(200, "Content-Encoding: gzip\r\n", newModel))},
              Named{"a length far too large", promises("999999", ServerAnswer::staying)},
              Named{"a redirect nowhere", always(says(302, ""))},
              Named{"a redirect to http",
                    always(says(307, "Location: http://models.example/m\r\n"))}})
            row(name, {answer}, refused, dropAt, 1);
        row("416 of ours", {always(says(416, "Content-Range: bytes */10000\r\n"))}, refused, 0, 1);
        row("chunks", {always({200, newModel, ServerAnswer::chunked})}, "new", 0, 1);
        const QByteArray endless = newModel + newModel;
        row("too many chunks", {always({200, endless, ServerAnswer::chunked})}, refused, 0, 1);
        row("a shorter length", {always(says(200, "", newModel.chopped(1)))}, refused, 0, 1);
        row("a longer length", {promises("50000")}, cutOff, int(newModel.size()), 1);
        const Answer onward = always(says(302, "Location: /elsewhere?signed=1\r\n"));
        row("a redirect", {onward, honest}, "old", 0, 2);
        row("a redirect in a circle", {onward}, refused, dropAt, 11);
    }
    void whatTheServerAnswersToAContinuation() {
        const auto [script, end, part, requests] = fetch<QList<Answer>, QString, int, int>();
        World world;
        QCOMPARE(world.attempt({drops(has(oldModel, "old"), dropAt)}), cutOff);
        world.server.requests.clear();
        QCOMPARE(world.attempt(script), end);
        QCOMPARE(world.part(), part);
        QCOMPARE(world.server.requests.size(), requests);
        QCOMPARE(valueOf(world.server.requests.first(), "range"), "bytes=10000-");
        QCOMPARE(world.models().contains("model.bin"), end == "old" || end == "new");
        QVERIFY(world.server.openConnections == 0 ||
                world.becomes([&] { return world.server.openConnections == 0; }));
        // Whatever it was, an honest server makes up for it, asked at the original address.
        QCOMPARE(world.attempt({has(newModel, "new")}), "new");
        QVERIFY(world.server.requests.last().head.contains("/path/resolve/main/model.bin"));
        QCOMPARE(world.models(), QStringList{"model.bin"});
    }

    void whatHasComeWholeIsInstalled() {
        World world;
        QCOMPARE(world.attempt({promises("50000")}), cutOff);
        QCOMPARE(world.attempt({has(newModel, "new")}), "new"); // who answers 416
        QCOMPARE(world.server.requests.size(), 2);
        // A crash before the last step: nobody needs to be asked.
        QCOMPARE(world.attempt({drops(has(oldModel, "old"), dropAt)}), cutOff);
        world.put("models/model.bin.part", oldModel);
        QCOMPARE(world.attempt({always(says(404, ""))}), "old");
        QCOMPARE(world.server.requests.size(), 3);
    }

    void onlySilenceTakesTooLong() {
        World world;
        const QByteArray whole = has(oldModel, "old")({}).bytes();
        world.answers = {always({0, whole.first(5000), ServerAnswer::staying})};
        world.download->start(world.model);
        QVERIFY(world.becomes([&] { return world.part() > 4000; }));
        for (int at = 5000; at < 5010; ++at) { // a byte every 59 seconds
            world.scheduler.advance(59);
            const auto before = world.part();
            world.server.sendMore(whole.mid(at, 1));
            QVERIFY(world.becomes([&] { return world.part() > before; }));
        }
        QVERIFY(world.end.isEmpty());
        QCOMPARE(world.shown.last(), "0.12 about 70 minutes left");
        world.scheduler.advance(60);
        QCOMPARE(world.end, "The connection timed out. Check your Wi-Fi and try again.");
        // The rate is that of this attempt, however much was there before.
        world.shown.clear();
        QCOMPARE(world.attempt({has(oldModel, "old")}), "old");
        QCOMPARE(world.shown.first(), "0.12 Connecting…");
        QCOMPARE(world.shown.last().left(5), "1.00 ");
    }

    void aPauseKeepsWhatHasComeAndSaysNothingElse_data() {
        const Rows<bool> row;
        row("a pause", false);
        row("an end, on threads", true);
    }
    void aPauseKeepsWhatHasComeAndSaysNothingElse() {
        const auto [isEnd] = fetch<bool>();
        QtScheduler threads;
        World world;
        if (isEnd) world.make(&threads);
        const QByteArray begin = has(oldModel, "old")({}).bytes().first(20'000);
        world.answers = {always({0, begin, ServerAnswer::staying})};
        world.download->start(world.model);
        world.download->start(world.model); // is nothing
        QVERIFY(world.becomes([&] { return world.part() > 19'000; }));
        QVERIFY(world.download->isRunning());
        world.shown.clear();
        world.scheduler.advance(1);
        world.server.sendMore(oldModel.mid(20'000, 100));
        QTest::qWait(50); // news of it are on their way
        isEnd ? world.make(&threads) : world.download->pause();
        QVERIFY(!world.download->isRunning());
        QVERIFY(world.becomes([&] { return world.server.openConnections == 0; }));
        QVERIFY(world.models().contains("model.resume"));
        QVERIFY(world.end.isEmpty() && (isEnd || world.shown.isEmpty()));
        QCOMPARE(world.server.connections, 1);
        QCOMPARE(world.attempt({has(oldModel, "old")}), "old");
        world.make();
        world.scheduler.runPending();
        QCOMPARE(world.log.lines("setup: "),
                 (QStringList{"setup: downloading speech model",
                              "setup: download paused, resume data saved",
                              "setup: resuming speech model download", "setup: model installed"}));
    }

    void aFullDiskCostsNothing() {
        World world;
        {
            const FullDisk disk(15'000);
            QCOMPARE(world.attempt({has(oldModel, "old")}), unsaved);
        }
        QCOMPARE(world.part(), 15'000);
        // What lies there counts as free: it is not needed again.
        world.files.available = 200'040'000 - 15'001;
        QCOMPARE(
            world.attempt({has(oldModel, "old")}),
            "Murlo needs about 0.3 GB free so everything can run on your Mac, offline. Free up "
            "some space and try again.");
        QCOMPARE(world.server.requests.size(), 1);
        world.files.available = *world.files.available + 1;
        QCOMPARE(world.attempt({has(oldModel, "old")}), "old");
    }

    void aPartServesItsOwnFileAlone() {
        World world;
        QCOMPARE(world.attempt({drops(has(oldModel, "old"), dropAt)}), cutOff);
        world.repository.setPath("/moved/");
        world.make();
        QCOMPARE(world.attempt({drops(has(newModel, "new"), 50)}), cutOff);
        QVERIFY(world.server.requests.last().head.startsWith("get /moved/resolve/main/model.bin "));
        QCOMPARE(valueOf(world.server.requests.last(), "range"), QByteArray());
        QCOMPARE(world.part(), 50);
    }

    void aServerThatCannotBeReached() {
        World world;
        const std::tuple<QUrl, bool, QString> rows[] = {
            {QUrl("http://127.0.0.1:9/"), false, cutOff},
            {QUrl("http://models.invalid/"), true, cutOff},
            {QUrl("http://models.invalid/"), false,
             "No internet connection. Check your Wi-Fi and try again."},
            {QUrl(), true, refused}};
        for (const auto& [address, isConnected, end] : rows) {
            world.repository = address;
            world.reachability.connected = isConnected;
            world.make();
            QCOMPARE(world.attempt({}), end);
        }
    }
};

QTEST_GUILESS_MAIN(ModelDownloadTest)
#include "ModelDownloadTest.moc"
