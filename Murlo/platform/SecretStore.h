#pragma once

#include "platform/Port.h"

#include <QString>

#include <functional>
#include <optional>
#include <tl/expected.hpp>

namespace murlo {

/// Why a store of secrets did not do what it was asked for.
struct SecretError {
    QString reason;       ///< it is locked and stays so, the user has declined, it hung or ended
    bool noStore = false; ///< this desktop session has none
};

/// The desktop's store of secrets (keyring): small texts by account name, all under the one service
/// "com.murlo.account". Operations run one after another in the order of the calls, each for at
/// most 5 s; they complete once, on a later turn of the main thread. What takes longer fails, but
/// may still be carried out, even after operations that were asked for later: `late`, if it is
/// given, is called once with such an answer. Unavailable is an error; absent is not. Values never
/// reach a log. Main thread.
class SecretStore : public Port {
public:
    using Found = tl::expected<std::optional<QString>, SecretError>;
    using Done = tl::expected<void, SecretError>;

    /// The item's value, or nothing where the store has no such item.
    virtual void read(const QString& account, std::function<void(Found)> done,
                      std::function<void(Found)> late = {}) = 0;
    /// Stores the value, replacing the item's old one in one step.
    virtual void save(const QString& account, const QString& value, std::function<void(Done)> done,
                      std::function<void(Done)> late = {}) = 0;
    /// Removes the item; a missing item is no error.
    virtual void remove(const QString& account, std::function<void(Done)> done,
                        std::function<void(Done)> late = {}) = 0;
};

} // namespace murlo
