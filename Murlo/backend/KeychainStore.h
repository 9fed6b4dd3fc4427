#pragma once

#include "backend/AccountClient.h"
#include "platform/Scheduler.h"
#include "support/JsonFile.h"

#include <QHash>
#include <QObject>

#include <functional>
#include <optional>

namespace murlo {

class Paths;
class SecretStore;
class SerialQueue;

/// The account's secrets of one backend address: `apiKey` and `pendingIdToken`. They are read once,
/// off the main thread, and then kept in memory; changes hold at once and are written through to
/// the keyring behind it. What the keyring refuses goes to an owner-only file in the support
/// folder, once told in the log; reading asks the keyring, then the file; a later success in the
/// keyring removes the file's copy. A removal that the keyring refused is remembered (the item
/// counts as absent) and finished when it answers. Values never reach a log. Main thread.
class KeychainStore : public QObject {
    Q_OBJECT

public:
    enum class Item { apiKey, pendingIdToken };

    /// `address` is the backend's (`BackendConfig::address`); items of other addresses are absent.
    KeychainStore(SecretStore& secrets, const Paths& paths, SerialQueue& disk, Scheduler& scheduler,
                  QString address);

    /// Begins to read; `loaded` follows.
    void load();
    /// Whether both items are known: read, saved or removed since the start.
    [[nodiscard]] bool isLoaded() const;

    /// The item's value as far as it is known.
    [[nodiscard]] std::optional<QString> read(Item item) const;
    /// For an authorised request. While the keyring does not answer, that is "unavailable" and not
    /// "absent", and this call has it asked again, at most every 30 s.
    [[nodiscard]] KeyAnswer apiKey();
    void save(Item item, const QString& value);
    void remove(Item item);
    /// Completes when everything saved or removed so far is stored or has failed.
    void whenWritten(std::function<void()> done);

Q_SIGNALS:
    /// The first answers are there: values, absences, or that the keyring does not answer.
    void loaded();
    /// An item has another value, or none any more; also when a late keyring has one after all.
    void changed(Item item);
};

} // namespace murlo
