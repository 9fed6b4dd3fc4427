#pragma once

#include "MurloKit/Message.h"
#include "platform/HttpClient.h"

#include <QString>

#include <variant>

namespace murlo {

/// Why there is no transcript.
struct TranscribeError {
    /// The engine refused: an HTTP status of 400 or more, with its answer.
    struct Server {
        int code = 0;
        QString body;
    };
    struct EmptyResponse {};

    std::variant<Server, EmptyResponse, HttpError> reason;

    /// It may quote the engine's answer: never for telemetry.
    [[nodiscard]] Message message() const;
};

/// The cleaned transcript, which may be empty.
using TranscribeResult = tl::expected<QString, TranscribeError>;

/// Sends WAV clips to the speech engine. Light; make one per request. The HTTP client's thread.
class Transcriber {
public:
    /// `endpoint` is the engine's transcription URL, `credentials` what it demands with a request;
    /// `http` must outlive the requests.
    Transcriber(HttpClient& http, QUrl endpoint, HttpHeader credentials)
        : m_http(http)
        , m_endpoint(std::move(endpoint))
        , m_credentials(std::move(credentials)) {}

    /// Transcribes one clip within 120 seconds; `completion` is called once, on a later turn.
    /// `language` as stored ("en" when empty); `vocabulary` primes the engine and is left out when
    /// blank. The engine works on one clip at a time: cancelling or destroying the handle closes
    /// the connection, which makes it drop this one, and then nothing is called.
    [[nodiscard]] std::unique_ptr<HttpTask>
    transcribe(const QByteArray& wav, const QString& language, const QString& vocabulary,
               std::function<void(TranscribeResult)> completion) const;

private:
    HttpClient& m_http;
    QUrl m_endpoint;
    HttpHeader m_credentials;
};

} // namespace murlo
