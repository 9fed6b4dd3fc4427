#include "dictation/engine/Transcriber.h"

#include "MurloKit/Characters.h"
#include "MurloKit/TextCleanup.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QStringDecoder>
#include <QUuid>

namespace murlo {

namespace {

constexpr double transcriptionLimit = 120; ///< seconds for one request
constexpr int quotedCharacters = 160;      ///< of an engine's answer that is shown to the user
constexpr qsizetype quotedUnits = 16'000;  ///< UTF-16 units that are searched for those characters

/// Nothing when the bytes are not UTF-8.
std::optional<QString> decodeUtf8(const QByteArray& bytes) {
    QStringDecoder decode(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decode(bytes);
    if (decode.hasError()) return std::nullopt;
    return text;
}

QByteArray multipartBody(const QByteArray& boundary, const QByteArray& wav, const QString& language,
                         const QString& vocabulary) {
    QByteArray body;
    body.reserve(wav.size() + vocabulary.size() * 3 + 2000);
    const auto addField = [&](const char* name, const QByteArray& value) {
        body += "--" + boundary + "\r\nContent-Disposition: form-data; name=\"" + name +
                "\"\r\n\r\n" + value + "\r\n";
    };
    addField("temperature", "0.0");
    addField("temperature_inc", "0.2");
    addField("response_format", "json");
    addField("language", language.isEmpty() ? "en" : language.toUtf8());
    const QString prompt = vocabulary.trimmed();
    if (!prompt.isEmpty()) addField("prompt", prompt.toUtf8());
    body += "--" + boundary +
            "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"clip.wav\"\r\n"
            "Content-Type: audio/wav\r\n\r\n";
    body += wav;
    body += "\r\n--" + boundary + "--\r\n";
    return body;
}

TranscribeResult readAnswer(const HttpResult& result) {
    if (!result) return tl::unexpected(TranscribeError{result.error()});
    const QByteArray& body = result->body;
    if (result->status >= 400) {
        return tl::unexpected(TranscribeError{
            TranscribeError::Server{result->status, decodeUtf8(body).value_or(QString())}});
    }
    if (body.isEmpty()) return tl::unexpected(TranscribeError{TranscribeError::EmptyResponse{}});
    const QJsonValue text = QJsonDocument::fromJson(body).object().value(QLatin1String("text"));
    return TextCleanup::clean(text.isString() ? text.toString()
                                              : decodeUtf8(body).value_or(QString()));
}

} // namespace

Message TranscribeError::message() const {
    if (const auto* error = std::get_if<HttpError>(&reason))
        return {Word::asReported, {error->description}};
    const auto* server = std::get_if<Server>(&reason);
    if (!server) return Word::engineAnsweredNothing;
    const QString code = QString::number(server->code);
    if (server->body.isEmpty()) return {Word::engineError, {code}};
    return {Word::engineErrorSaying,
            {code, Characters::first(server->body.left(quotedUnits), quotedCharacters)}};
}

std::unique_ptr<HttpTask>
Transcriber::transcribe(const QByteArray& wav, const QString& language, const QString& vocabulary,
                        std::function<void(TranscribeResult)> completion) const {
    const QByteArray boundary =
        "brisvane-" + QUuid::createUuid().toByteArray(QUuid::WithoutBraces).toUpper();
    HttpRequest request;
    request.method = "POST";
    request.url = m_endpoint;
    request.headers = {m_credentials,
                       {"Content-Type", "multipart/form-data; boundary=" + boundary}};
    request.body = multipartBody(boundary, wav, language, vocabulary);
    request.timeout = transcriptionLimit;
    return m_http.send(request, [completion = std::move(completion)](const HttpResult& result) {
        completion(readAnswer(result));
    });
}

} // namespace murlo
