#pragma once

#include "MurloBackend/outgoing/Outgoing.h"
#include "MurloBackend/polish/Polisher.h"

#include <QString>
#include <QUrl>

#include <memory>

namespace murlo::backend {

/// The language model that rewrites.
struct RemotePolishOptions {
    QUrl url;            ///< before "/chat/completions", such as "https://example.org/v1"
    QString key;         ///< sent as a bearer token; empty where none is needed
    QString model;       ///< as the server names it
    double timeout = 10; ///< seconds; the client itself waits for 3
};

/// Has a language model behind an OpenAI-compatible interface rewrite the text, with instructions
/// for the kind of application that it goes to. Answers 504 when the time is over, 503 when the
/// model's server has too many requests, and 502 for everything else that is no usable rewriting:
/// an error, a blank one, one cut short, one of more than 20,000 characters and ten times the
/// text's length. `outgoing` must outlive it.
[[nodiscard]] std::unique_ptr<Polisher> makeRemotePolisher(RemotePolishOptions options,
                                                           Outgoing& outgoing);

} // namespace murlo::backend
