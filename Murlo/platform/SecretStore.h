#pragma once

#include "platform/Port.h"

#include <QString>

#include <functional>
#include <optional>
#include <tl/expected.hpp>

namespace murlo {

/// The desktop's store of secrets (keyring): small texts by account name, all under the one service
/// "com.murlo.account". Operations run one after another in the order of the calls, each for at
/// most 5 s; they complete once, on a later turn of the main thread. An error says why the store
/// did not answer: there is none, it is locked and stays so, the user has declined, it hung or
/// ended. Unavailable is an error; absent is not. Values never reach a log. Main thread.
class SecretStore : public Port {
public:
    using Found = tl::expected<std::optional<QString>, QString>;
    using Done = tl::expected<void, QString>;

    /// The item's value, or nothing where the store has no such item. An answer that comes after
    /// the time limit still counts: `late` is called with it once, if it is given.
    virtual void read(const QString& account, std::function<void(Found)> done,
                      std::function<void(Found)> late = {}) = 0;
    /// Stores the value, replacing the item's old one in one step.
    virtual void save(const QString& account, const QString& value,
                      std::function<void(Done)> done) = 0;
    /// Removes the item; a missing item is no error.
    virtual void remove(const QString& account, std::function<void(Done)> done) = 0;
};

} // namespace murlo
