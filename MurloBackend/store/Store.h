#pragma once

#include "MurloBackend/identity/Identity.h"
#include "MurloBackend/store/Connection.h"
#include "MurloBackend/store/Records.h"

#include <QByteArray>
#include <QList>

#include <optional>
#include <tl/expected.hpp>

namespace murlo::backend::store {

/// The database did not do what it was asked; the connection knows why.
struct Failed {};
template <typename Value>
using Stored = tl::expected<Value, Failed>;

/// An API key of 256 random bits, as text.
[[nodiscard]] QString newKey();

/// Makes this one a key of this person's account, which is made if there is none; of the account's
/// keys the newest `live` ones stay. A key that the same ID token has brought before goes: its
/// answer was lost, or it would be asked for no more. Only digests of key and token are kept.
/// Inside a transaction.
[[nodiscard]] Stored<void> signUp(Connection& connection, const Identity& person,
                                  const QString& key, const QString& idToken, int live);

/// The account that a key opens; nothing if it opens none (any more).
[[nodiscard]] Stored<std::optional<qint64>> accountOf(Connection& connection, const QString& key);

/// Adds records; those that the account has already, by their id, are left as they are. Inside a
/// transaction.
[[nodiscard]] Stored<void> add(Connection& connection, qint64 account,
                               const QList<UsageEvent>& events);
[[nodiscard]] Stored<void> add(Connection& connection, qint64 account,
                               const QList<ErrorReport>& reports);
/// Notes the first ping of an installation's stage.
[[nodiscard]] Stored<void> add(Connection& connection, const FunnelPing& ping);

/// The account's settings record: JSON as it was given.
[[nodiscard]] Stored<void> putSettings(Connection& connection, qint64 account,
                                       const QByteArray& record);
[[nodiscard]] Stored<std::optional<QByteArray>> settings(Connection& connection, qint64 account);

} // namespace murlo::backend::store
