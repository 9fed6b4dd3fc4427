#include "dictation/engine/Transcriber.h"

#include "MurloKit/WavWriter.h"
#include "look/Words.h"
#include "tests/fakes/FakeHttpClient.h"
#include "tests/harness/ValidatingServer.h"

#include <QRegularExpression>
#include <QTest>

#include <array>

namespace murlo {

namespace {

const QUrl endpoint("http://127.0.0.1:8756/inference");

QByteArray clip() {
    const std::array<float, 4> samples{0, 0.25F, -0.25F, 1};
    return WavWriter::data(samples, 16000);
}

/// As the request would come over the wire.
ReceivedForm form(const HttpRequest& request) {
    ReceivedRequest received{request.method, request.url.path().toUtf8(), {}, request.body};
    for (const auto& [name, value] : request.headers)
        received.headers.insert(name.toLower(), value);
    return readTranscriptionForm(received);
}

/// What the user sees: the transcript in quotation marks, or the error.
QString describe(const TranscribeResult& result) {
    return result ? '"' + *result + '"' : Words::english(result.error().message());
}

} // namespace

class TranscriberTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void sendsTheExactForm_data() {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("vocabulary");
        QTest::addColumn<QByteArray>("sentLanguage");
        QTest::addColumn<QByteArray>("sentPrompt"); ///< null: no such field
        const auto row = [](const char* name, const char* language, const char* vocabulary,
                            const char* sentLanguage, const char* sentPrompt) {
            QTest::newRow(name) << QString(language) << QString(vocabulary)
                                << QByteArray(sentLanguage) << QByteArray(sentPrompt);
        };
        row("without vocabulary", "en", "", "en", nullptr);
        row("blank vocabulary", "auto", " \n\t ", "auto", nullptr);
        row("vocabulary", "de", "\n Kubernetes, Jörg \"X\"\r\n", "de", "Kubernetes, Jörg \"X\"");
        row("no language", "", "a", "en", "a");
    }
    void sendsTheExactForm() {
        QFETCH(QString, language);
        QFETCH(QString, vocabulary);
        QFETCH(QByteArray, sentLanguage);
        QFETCH(QByteArray, sentPrompt);
        FakeHttpClient http;
        const Transcriber transcriber(http, endpoint, {"X-Key", "sesame"});
        const auto ignore = [](const TranscribeResult&) {};
        const auto first = transcriber.transcribe(clip(), language, vocabulary, ignore);
        const auto second = transcriber.transcribe(clip(), language, vocabulary, ignore);
        const HttpRequest request = http.sent().value(0);
        QCOMPARE(request.url, endpoint);
        QCOMPARE(request.timeout, 120.0);
        const ReceivedForm received = form(request);
        QCOMPARE(received.problems, QStringList());
        QVERIFY(QRegularExpression("^brisvane-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$")
                    .match(received.boundary)
                    .hasMatch());
        QVERIFY(form(http.sent().value(1)).boundary != received.boundary);
        QCOMPARE(received.wav, clip());
        QVERIFY(request.headers.contains(HttpHeader("X-Key", "sesame")));
        QMap<QByteArray, QByteArray> fields = {{"language", sentLanguage},
                                               {"temperature", "0.0"},
                                               {"temperature_inc", "0.2"},
                                               {"response_format", "json"}};
        if (!sentPrompt.isNull()) fields.insert("prompt", sentPrompt);
        QCOMPARE(received.fields, fields);
    }

    void readsTheAnswer_data() {
        QTest::addColumn<int>("status"); ///< 0: none came, because of `body`
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("result");
        const auto add = [](const char* name, int status, const QByteArray& body,
                            const QString& result) {
            QTest::newRow(name) << status << body << result;
        };
        add("no answer", 0, "Connection refused", "Connection refused");
        add("transcript", 200, R"({"text":" Hello there.\n"})", "\"Hello there.\"");
        add("markers alone", 200, "{\"text\":\"[BLANK_AUDIO]\\n\"}", "\"\"");
        add("escapes", 200, R"({"text":"\u201eJa\u201c \ud83d\ude00","x":[1]})",
            QString::fromUtf8("\"„Ja“ 😀\""));
        add("no JSON", 200, "  Just words. ", "\"Just words.\"");
        add("JSON without text", 200, R"({"words":"a"})", R"("{"words":"a"}")");
        add("text that is no string", 200, R"({"text":5})", R"("{"text":5}")");
        add("a JSON list", 200, R"(["text"])", R"("["text"]")");
        add("not UTF-8", 200, "caf\xe9", "\"\"");
        add("redirect", 302, "moved", "\"moved\"");
        add("nothing", 200, "", "The speech engine returned nothing.");
        add("refusal without a word", 500, "", "Speech engine error 500");
        add("refusal", 500, "{\"error\":\"failed\"}",
            "Speech engine error 500: {\"error\":\"failed\"}");
        add("refusal in no encoding", 400, "\xff", "Speech engine error 400");
        add("long refusal", 404, "<html>" + QByteArray(1'000'000, 'x'),
            "Speech engine error 404: <html>" + QString(154, 'x'));
        add("long refusal with accents", 404, QByteArray("e\xcc\x81").repeated(200),
            "Speech engine error 404: " + QString::fromUtf8("e\u0301").repeated(160));
    }
    void readsTheAnswer() {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        FakeHttpClient http;
        QStringList results;
        const auto hear = [&](const TranscribeResult& result) { results << describe(result); };
        const auto task =
            Transcriber(http, endpoint, {"X-Key", "sesame"}).transcribe(clip(), "en", {}, hear);
        QVERIFY(results.isEmpty());
        QVERIFY(status ? http.answer(status, body) : http.fail(body));
        QCOMPARE(results.size(), 1);
        QTEST(results.value(0), "result");
    }
};

} // namespace murlo

QTEST_GUILESS_MAIN(murlo::TranscriberTest)
#include "TranscriberTest.moc"
