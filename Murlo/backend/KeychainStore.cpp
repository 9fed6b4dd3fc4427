#include "backend/KeychainStore.h"

#include "platform/SecretStore.h"
#include "support/Log.h"
#include "support/Paths.h"

#include <QFile>

namespace murlo {

namespace {
constexpr double askAgainAfter = 30; // seconds
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

void KeychainStore::load() {
    m_disk.async([&scheduler = m_scheduler, file = m_file,
                  there = m_lifetime.guard(
                      [this](const QJsonObject& content) { takeFile(content); })]() mutable {
        const QJsonObject content =
            file.read([](const QJsonDocument& document) { return document.isObject(); }).object();
        scheduler.nextTurn([there, content]() mutable { there(content); });
    });
}

void KeychainStore::takeFile(const QJsonObject& content) {
    // What was saved or removed in the meantime is newer than the file.
    for (auto entry = content.begin(); entry != content.end(); ++entry)
        if (!m_inFile.contains(entry.key())) m_inFile.insert(entry.key(), entry.value());
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
        write(item, value);
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
    if (news && value && m_loaded) Q_EMIT foundLate(item);
}

KeyAnswer KeychainStore::key() {
    const Entry& entry = m_entries[apiKey];
    if (entry.value) return {KeyAnswer::present, *entry.value};
    if (entry.known) return {KeyAnswer::absent, {}};
    if (m_loaded && m_scheduler.uptime() - entry.askedAt >= askAgainAfter) ask(apiKey);
    return {KeyAnswer::unavailable, {}};
}

void KeychainStore::save(Item item, const QString& value) {
    Entry& entry = m_entries[item];
    entry.value = value;
    entry.known = true;
    ++entry.revision;
    write(item, value);
}

void KeychainStore::remove(Item item) {
    Entry& entry = m_entries[item];
    entry.value.reset();
    entry.known = true;
    ++entry.revision;
    write(item, {});
}

void KeychainStore::write(Item item, const std::optional<QString>& value) {
    ++m_writing;
    const auto done =
        m_lifetime.guard([this, item, revision = m_entries[item].revision](
                             const SecretStore::Done& result) { written(item, revision, result); });
    if (value)
        m_secrets.save(m_names[item], *value, done);
    else
        m_secrets.remove(m_names[item], done);
}

void KeychainStore::written(Item item, qint64 revision, const tl::expected<void, QString>& result) {
    const Entry& entry = m_entries[item];
    if (revision == entry.revision) {
        const QString& name = m_names[item];
        if (result) {
            setInFile(name, QJsonValue(QJsonValue::Undefined));
        } else {
            if (!std::exchange(m_told, true))
                Log::write(QStringLiteral("account: the keyring has refused a change (%1), which "
                                          "is kept in %2, readable by its owner alone")
                               .arg(result.error(), fileName()));
            setInFile(name, entry.value ? QJsonValue(*entry.value) : QJsonValue(QJsonValue::Null));
        }
    }
    // After the file: the queue runs in order.
    m_disk.async([&scheduler = m_scheduler, settled = m_lifetime.guard([this] {
        settle(-1);
    })]() mutable { scheduler.nextTurn(std::move(settled)); });
}

void KeychainStore::setInFile(const QString& name, const QJsonValue& value) {
    if (m_inFile.value(name) == value && m_inFile.contains(name) != value.isUndefined()) return;
    if (value.isUndefined())
        m_inFile.remove(name);
    else
        m_inFile.insert(name, value);
    m_disk.async([file = m_file, content = m_inFile] {
        if (content.isEmpty())
            QFile::remove(file.path());
        else
            file.write(QJsonDocument(content));
    });
}

void KeychainStore::whenWritten(std::function<void()> done) {
    m_whenWritten.push_back(std::move(done));
    settle(0);
}

void KeychainStore::settle(int change) {
    m_writing += change;
    if (m_writing > 0) return;
    for (const auto& done : std::exchange(m_whenWritten, {})) done();
}

} // namespace murlo
