#pragma once

#include "MurloBackend/store/Records.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>

#include <optional>
#include <tl/expected.hpp>

namespace murlo::backend::bodies {

/// What clients send, checked. A body that is not what its endpoint takes yields nothing; a record
/// of a batch that is not as it should be is left out.

/// An object in JSON.
[[nodiscard]] std::optional<QJsonObject> object(const QByteArray& body);

/// The ID token of a sign-up.
[[nodiscard]] std::optional<QByteArray> idToken(const QByteArray& body);

/// The good ones of a batch, in their order.
[[nodiscard]] std::optional<QList<UsageEvent>> usageEvents(const QByteArray& body);
[[nodiscard]] std::optional<QList<ErrorReport>> errorReports(const QByteArray& body);

/// Of an installation named by a UUID, and a stage that is known.
[[nodiscard]] std::optional<FunnelPing> funnelPing(const QByteArray& body);

/// A text to be rewritten, and the application that it goes to.
struct PolishRequest {
    QString text;
    std::optional<QString> targetApp;
};
[[nodiscard]] std::optional<PolishRequest> polishRequest(const QByteArray& body);

/// The bytes of the settings record, as they were given. Its known members have the right types;
/// further ones are kept.
[[nodiscard]] std::optional<QByteArray> settingsRecord(const QByteArray& body);

} // namespace murlo::backend::bodies
