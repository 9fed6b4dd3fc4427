#pragma once

#include "backend/AccountClient.h"
#include "platform/Scheduler.h"
#include "support/JsonFile.h"

#include <QJsonObject>
#include <QObject>
#include <QStringList>

#include <functional>
#include <map>
#include <optional>
#include <tl/expected.hpp>
#include <vector>

namespace murlo {

class Paths;
class SecretStore;
class SerialQueue;
struct SecretError;

/// The account's secrets of one backend address: `apiKey` and `pendingIdToken`. They are read once,
/// off the main thread, and then kept in memory; changes hold at once and are written through to
/// the keyring behind it. What the keyring refuses, or has not taken after half a second, goes to
/// an owner-only file in the support folder; it is newer than what the keyring has, so it is read
/// first, and a later success in the keyring removes it. A removal is remembered there likewise
/// (the item counts as absent) and finished when the keyring answers. Values never reach a log.
/// Main thread.
class KeychainStore : public QObject {
    Q_OBJECT

public:
    enum Item { apiKey, pendingIdToken };

    /// `address` is the backend's (`BackendConfig::address`); items of other addresses are absent.
    KeychainStore(SecretStore& secrets, const Paths& paths, SerialQueue& disk, Scheduler& scheduler,
                  QString address);

    /// Begins to read; `loaded` follows.
    void load();
    /// Whether the first answers are there.
    [[nodiscard]] bool isLoaded() const { return m_loaded; }
    /// Whether the keyring has answered for every item, or the item was changed since.
    [[nodiscard]] bool isComplete() const {
        return m_entries[apiKey].known && m_entries[pendingIdToken].known;
    }

    /// The item's value as far as it is known.
    [[nodiscard]] std::optional<QString> read(Item item) const { return m_entries[item].value; }
    /// The key for an authorised request. While the keyring does not answer, that is "unavailable"
    /// and not "absent", and this call has it asked again for what is unknown, at most every 30 s.
    [[nodiscard]] KeyAnswer key();
    void save(Item item, const QString& value);
    void remove(Item item);
    /// Completes when everything saved or removed so far is safe, in the keyring or in the file:
    /// during the call if that is so now, else within half a second and the disk's time.
    void whenWritten(std::function<void()> done);

    /// What the items of a backend address are called in the keyring.
    [[nodiscard]] static QStringList names(const QString& address);
    /// The items that the owner-only file in a support folder names, of whatever address.
    [[nodiscard]] static QStringList namesInFile(const Paths& paths);
    /// The owner-only file.
    [[nodiscard]] static QString fileName() { return QStringLiteral("secrets.json"); }

Q_SIGNALS:
    /// The first answers are there: values, absences, or that the keyring does not answer.
    void loaded();
    /// A late keyring has told after all what an item is, or that it is absent.
    void foundLate(murlo::KeychainStore::Item item);

private:
    struct Entry {
        std::optional<QString> value;
        bool known = false;  ///< read, saved or removed; else the keyring has not answered yet
        qint64 revision = 0; ///< grows with each change, so that older answers are told apart
        double askedAt = 0;  ///< uptime of the last question
    };
    /// A change that is neither in the keyring nor in the file yet.
    struct Write {
        Item item;
        qint64 revision;
        ScheduledWork limit; ///< then it goes to the file
    };

    void takeFile(const QJsonObject& content);
    void ask(Item item);
    void answered(Item item, qint64 revision, const std::optional<QString>& value, bool late);
    void change(Item item, const std::optional<QString>& value);
    void write(Item item);
    void written(qint64 id, const Write& write, const tl::expected<void, SecretError>& result);
    void writtenLate(Item item, qint64 revision, const tl::expected<void, SecretError>& result);
    void keepInFile(const Write& write);
    void setInFile(Item item, const QJsonValue& value);
    void storeFile();
    void settle(qint64 id);
    void tellWritten();

    SecretStore& m_secrets;
    SerialQueue& m_disk;
    Scheduler& m_scheduler;
    QStringList m_names; ///< by item
    JsonFile m_file;
    QJsonObject m_inFile; ///< value by name; null for what is still to be removed
    Entry m_entries[2];
    int m_unanswered = 0; ///< questions of `load`
    bool m_loaded = false;
    bool m_told = false; ///< that the keyring refuses
    std::map<qint64, Write> m_writes;
    qint64 m_lastWrite = 0;
    int m_settling = 0; ///< changes of the file that the disk has not taken yet
    std::vector<std::function<void()>> m_whenWritten;
    Lifetime m_lifetime;
};

} // namespace murlo
