#include "backend/KeychainStore.h"

#include "platform/SecretStore.h"
#include "support/Log.h"
#include "support/Paths.h"

#include <QFile>

namespace murlo {

namespace {
constexpr double askAgainAfter = 30; // seconds
constexpr double keyringLimit = 0.5; // seconds until a change goes to the file, too

QJsonObject contentOf(const JsonFile& file) {
    return file.read([](const QJsonDocument& document) { return document.isObject(); }).object();
}

/// Null stands for an item that is still to be removed.
QJsonValue asInFile(const std::optional<QString>& value) {
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}
} // namespace

KeychainStore::KeychainStore(SecretStore& secrets, const Paths& paths, SerialQueue& disk,
                             Scheduler& scheduler, QString address)
    : m_secrets(secrets)
    , m_disk(disk)
    , m_scheduler(scheduler)
    , m_names(names(address))
    , m_file(paths.file(fileName()), QStringLiteral("account")) {}

QStringList KeychainStore::names(const QString& address) {
    return {QStringLiteral("apiKey ") + address, QStringLiteral("pendingIdToken ") + address};
}

QStringList KeychainStore::namesInFile(const Paths& paths) {
    return contentOf(JsonFile(paths.file(fileName()), QStringLiteral("account"))).keys();
}

void KeychainStore::load() {
    m_disk.async([&scheduler = m_scheduler, file = m_file,
                  there = m_lifetime.guard(
                      [this](const QJsonObject& content) { takeFile(content); })]() mutable {
        const QJsonObject content = contentOf(file);
        scheduler.nextTurn([there, content]() mutable { there(content); });
    });
}

void KeychainStore::takeFile(const QJsonObject& content) {
    // What was saved or removed in the meantime is newer than the file, which has lost the rest.
    const auto isNewer = [this](const QString& name) {
        const auto item = m_names.indexOf(name);
        return m_inFile.contains(name) || (item >= 0 && m_entries[item].known);
    };
    bool isOverwritten = !m_inFile.isEmpty();
    for (auto entry = content.begin(); entry != content.end(); ++entry) {
        if (isNewer(entry.key()))
            isOverwritten = true;
        else
            m_inFile.insert(entry.key(), entry.value());
    }
    if (isOverwritten) storeFile();
    m_unanswered = 2;
    for (const Item item : {apiKey, pendingIdToken}) {
        Entry& entry = m_entries[item];
        const QJsonValue kept = m_inFile.value(m_names[item]);
        if (entry.known || kept.isUndefined()) {
            ask(item);
            continue;
        }
        // The keyring had refused a change: try it again.
        const auto value = kept.isString() ? std::optional(kept.toString()) : std::nullopt;
        answered(item, entry.revision, value, false);
        write(item);
    }
}

void KeychainStore::ask(Item item) {
    Entry& entry = m_entries[item];
    entry.askedAt = m_scheduler.uptime();
    const qint64 revision = entry.revision;
    m_secrets.read(m_names[item],
                   m_lifetime.guard([this, item, revision](const SecretStore::Found& found) {
                       if (found)
                           answered(item, revision, *found, false);
                       else if (m_unanswered > 0)
                           answered(item, -1, {}, false);
                   }),
                   m_lifetime.guard([this, item, revision](const SecretStore::Found& found) {
                       if (found) answered(item, revision, *found, true);
                   }));
}

/// A revision of -1 stands for "no answer".
void KeychainStore::answered(Item item, qint64 revision, const std::optional<QString>& value,
                             bool late) {
    Entry& entry = m_entries[item];
    const bool news = revision == entry.revision && !entry.known;
    if (news) {
        entry.known = true;
        entry.value = value;
    }
    if (!late && m_unanswered > 0 && --m_unanswered == 0) {
        m_loaded = true;
        Q_EMIT loaded();
        return;
    }
    if (news && m_loaded) Q_EMIT foundLate(item);
}

KeyAnswer KeychainStore::key() {
    for (const Item item : {apiKey, pendingIdToken}) {
        const Entry& entry = m_entries[item];
        const bool isDue = m_scheduler.uptime() - entry.askedAt >= askAgainAfter;
        if (m_loaded && !entry.known && isDue) ask(item);
    }
    const Entry& entry = m_entries[apiKey];
    if (entry.value) return {KeyAnswer::present, *entry.value};
    return {entry.known ? KeyAnswer::absent : KeyAnswer::unavailable, {}};
}

void KeychainStore::save(Item item, const QString& value) {
    change(item, value);
}

void KeychainStore::remove(Item item) {
    change(item, {});
}

void KeychainStore::change(Item item, const std::optional<QString>& value) {
    Entry& entry = m_entries[item];
    entry.value = value;
    entry.known = true;
    ++entry.revision;
    write(item);
    // What the file holds goes before the keyring at the next start.
    if (m_inFile.contains(m_names[item])) setInFile(item, asInFile(value));
}

/// Writes the item's value as it is now.
void KeychainStore::write(Item item) {
    const qint64 id = ++m_lastWrite;
    const qint64 revision = m_entries[item].revision;
    ScheduledWork limit = m_scheduler.after(keyringLimit, [this, id] {
        keepInFile(m_writes.at(id));
        settle(id);
    });
    m_writes.emplace(id, Write{item, revision, std::move(limit)});
    const auto done = m_lifetime.guard([this, id, item, revision](const SecretStore::Done& result) {
        written(id, {item, revision, {}}, result);
    });
    const auto late = m_lifetime.guard([this, item, revision](const SecretStore::Done& result) {
        writtenLate(item, revision, result);
    });
    if (const auto& value = m_entries[item].value)
        m_secrets.save(m_names[item], *value, done, late);
    else
        m_secrets.remove(m_names[item], done, late);
}

void KeychainStore::written(qint64 id, const Write& write,
                            const tl::expected<void, SecretError>& result) {
    if (!result) {
        if (!std::exchange(m_told, true))
            Log::write(QStringLiteral("account: the keyring has refused a change (%1), which is "
                                      "kept in %2, readable by its owner alone")
                           .arg(result.error().reason, fileName()));
        keepInFile(write);
    } else if (write.revision == m_entries[write.item].revision) {
        setInFile(write.item, QJsonValue::Undefined);
    }
    settle(id);
}

/// The keyring has carried out what it was asked for too long ago, perhaps after newer changes.
void KeychainStore::writtenLate(Item item, qint64 revision,
                                const tl::expected<void, SecretError>& result) {
    if (!result) return;
    if (revision == m_entries[item].revision)
        setInFile(item, QJsonValue::Undefined);
    else
        write(item);
}

void KeychainStore::keepInFile(const Write& write) {
    const Entry& entry = m_entries[write.item];
    if (write.revision != entry.revision) return; // the newer change sees to the item
    setInFile(write.item, asInFile(entry.value));
}

void KeychainStore::setInFile(Item item, const QJsonValue& value) {
    const QString& name = m_names[item];
    if (m_inFile.value(name) == value && m_inFile.contains(name) != value.isUndefined()) return;
    if (value.isUndefined())
        m_inFile.remove(name);
    else
        m_inFile.insert(name, value);
    storeFile();
}

void KeychainStore::storeFile() {
    m_disk.async([file = m_file, content = m_inFile] {
        if (content.isEmpty())
            QFile::remove(file.path());
        else
            file.write(QJsonDocument(content));
    });
}

void KeychainStore::settle(qint64 id) {
    if (m_writes.erase(id) == 0) return; // settled by its time limit
    ++m_settling;
    // After the file: the queue runs in order.
    m_disk.async([&scheduler = m_scheduler, settled = m_lifetime.guard([this] {
        --m_settling;
        tellWritten();
    })]() mutable { scheduler.nextTurn(std::move(settled)); });
}

void KeychainStore::whenWritten(std::function<void()> done) {
    m_whenWritten.push_back(std::move(done));
    tellWritten();
}

void KeychainStore::tellWritten() {
    if (!m_writes.empty() || m_settling > 0) return;
    for (const auto& done : std::exchange(m_whenWritten, {})) done();
}

} // namespace murlo
