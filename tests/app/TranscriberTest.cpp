#include "dictation/engine/Transcriber.h"

#include "MurloKit/WavWriter.h"
#include "look/Words.h"
#include "tests/fakes/FakeHttpClient.h"
#include "tests/harness/Rows.h"

#include <QRegularExpression>

#include <array>

using namespace murlo;

namespace {

const QUrl endpoint("http://127.0.0.1:8756/inference");

QByteArray clip() {
    const std::array<float, 4> samples{0, 0.25F, -0.25F, 1};
    return WavWriter::data(samples, 16000);
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
        const Rows<QString, QString, QByteArray, QByteArray> row; // an empty prompt is left out
        row("without vocabulary", "en", "", "en");
        row("blank vocabulary", "auto", " \n\t ", "auto");
        row("vocabulary", "de", "\n Kubernetes, Jörg \"X\"\r\n", "de", "Kubernetes, Jörg \"X\"");
        row("no language", "", "a", "en", "a");
    }
    void sendsTheExactForm() {
        const auto [language, vocabulary, sentLanguage, prompt] =
            fetch<QString, QString, QByteArray, QByteArray>();
        FakeHttpClient http;
        const Transcriber transcriber(http, endpoint, {"X-Key", "sesame"});
        for (int i = 0; i < 2; ++i) {
            (void)transcriber.transcribe(clip(), language, vocabulary, {});
            const HttpRequest request = http.sent().last();
            QCOMPARE(request.method, "POST");
            QCOMPARE(request.url, endpoint);
            QCOMPARE(request.timeout, 120.0);
            QVERIFY(request.headers.contains(HttpHeader("X-Key", "sesame")));
            const QByteArray delimiter = request.body.first(request.body.indexOf("\r\n"));
            QVERIFY(QRegularExpression("^--brisvane-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$")
                        .match(delimiter)
                        .hasMatch());
            const QByteArray type = "multipart/form-data; boundary=" + delimiter.mid(2);
            QVERIFY(request.headers.contains(HttpHeader("Content-Type", type)));
            const auto field = [&](const QByteArray& name, const QByteArray& value) -> QByteArray {
                return delimiter + "\r\nContent-Disposition: form-data; name=\"" + name +
                       "\"\r\n\r\n" + value + "\r\n";
            };
            const QByteArray body =
                field("temperature", "0.0") + field("temperature_inc", "0.2") +
                field("response_format", "json") + field("language", sentLanguage) +
                (prompt.isEmpty() ? prompt : field("prompt", prompt)) + delimiter +
                "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"clip.wav\"\r\n"
                "Content-Type: audio/wav\r\n\r\n" +
                clip() + "\r\n" + delimiter + "--\r\n";
            QCOMPARE(request.body, body);
        }
        QVERIFY(http.sent().first().body != http.sent().last().body); // a boundary of its own
    }

    void readsTheAnswer_data() {
        const Rows<int, QByteArray, QString> row; // status 0: none came, because of the body
        row("no answer", 0, "Connection refused", "Connection refused");
        row("transcript", 200, R"({"text":" Hello there.\n"})", "\"Hello there.\"");
        row("markers alone", 200, "{\"text\":\"[BLANK_AUDIO]\\n\"}", "\"\"");
        row("escapes", 200, R"({"text":"\u201eJa\u201c \ud83d\ude00","x":[1]})",
            QString::fromUtf8("\"„Ja“ 😀\""));
        row("no JSON", 200, "  Just words. ", "\"Just words.\"");
        row("JSON without text", 200, R"({"words":"a"})", R"("{"words":"a"}")");
        row("text that is no string", 200, R"({"text":5})", R"("{"text":5}")");
        row("a JSON list", 200, R"(["text"])", R"("["text"]")");
        row("not UTF-8", 200, "caf\xe9", "\"\"");
        row("redirect", 302, "moved", "\"moved\"");
        row("nothing", 200, "", "The speech engine returned nothing.");
        row("refusal without a word", 500, "", "Speech engine error 500");
        row("refusal", 500, "{\"error\":\"failed\"}",
            "Speech engine error 500: {\"error\":\"failed\"}");
        row("refusal in no encoding", 400, "\xff", "Speech engine error 400");
        row("long refusal", 404, "<html>" + QByteArray(1'000'000, 'x'),
            "Speech engine error 404: <html>" + QString(154, 'x'));
        row("long refusal with accents", 404, QByteArray("e\xcc\x81").repeated(200),
            "Speech engine error 404: " + QString::fromUtf8("e\u0301").repeated(160));
    }
    void readsTheAnswer() {
        const auto [status, body, expected] = fetch<int, QByteArray, QString>();
        FakeHttpClient http;
        QStringList results;
        const auto hear = [&](const TranscribeResult& result) { results << describe(result); };
        const auto task =
            Transcriber(http, endpoint, {"X-Key", "sesame"}).transcribe(clip(), "en", {}, hear);
        QVERIFY(results.isEmpty());
        QVERIFY(status ? http.answer(status, body) : http.fail(body));
        QCOMPARE(results.size(), 1);
        QCOMPARE(results.value(0), expected);
    }
};

QTEST_GUILESS_MAIN(TranscriberTest)
#include "TranscriberTest.moc"
