#include "Store.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QRandomGenerator>

#include <array>

namespace murlo::backend::store {

namespace {

/// What is kept of a key. It has 256 random bits, so a plain digest cannot be tried out.
QString digest(const QString& key) {
    return QString::fromLatin1(
        QCryptographicHash::hash(key.toUtf8(), QCryptographicHash::Sha256).toHex());
}

qint64 now() {
    return QDateTime::currentSecsSinceEpoch();
}

QVariant orNull(const std::optional<QString>& text) {
    return text ? QVariant(*text) : QVariant(QMetaType::fromType<QString>());
}

Stored<void> outcome(bool done) {
    if (!done) return tl::unexpected(Failed{});
    return {};
}

} // namespace

QString newKey() {
    std::array<quint32, 8> bits{};
    QRandomGenerator::system()->fillRange(bits.data(), bits.size());
    const auto bytes =
        QByteArray::fromRawData(reinterpret_cast<const char*>(bits.data()), sizeof bits);
    return QString::fromLatin1(
        bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

Stored<void> signUp(Connection& connection, const Identity& person, const QString& key,
                    const QString& idToken, int live) {
    const auto rows = connection.select(
        QStringLiteral("INSERT INTO accounts (issuer, subject, email, created) VALUES (?, ?, ?, ?) "
                       "ON CONFLICT (issuer, subject) DO UPDATE SET email = excluded.email "
                       "RETURNING id"),
        {person.issuer, person.subject, person.email, now()});
    if (!rows || rows->isEmpty()) return tl::unexpected(Failed{});
    const qint64 account = rows->first().first().toLongLong();
    return outcome(
        connection.execute(QStringLiteral("DELETE FROM api_keys WHERE account = ? AND token = ?"),
                           {account, digest(idToken)}) &&
        connection.execute(
            QStringLiteral("INSERT INTO api_keys (account, hash, created, token) VALUES "
                           "(?, ?, ?, ?) ON CONFLICT (hash) DO NOTHING"),
            {account, digest(key), now(), digest(idToken)}) &&
        connection.execute(
            QStringLiteral("DELETE FROM api_keys WHERE account = ? AND id NOT IN (SELECT id FROM "
                           "api_keys WHERE account = ? ORDER BY id DESC LIMIT ?)"),
            {account, account, live}));
}

Stored<std::optional<qint64>> accountOf(Connection& connection, const QString& key) {
    const auto rows = connection.select(
        QStringLiteral("SELECT account FROM api_keys WHERE hash = ?"), {digest(key)});
    if (!rows) return tl::unexpected(Failed{});
    if (rows->isEmpty()) return std::optional<qint64>();
    return rows->first().first().toLongLong();
}

Stored<void> add(Connection& connection, qint64 account, const QList<UsageEvent>& events) {
    const auto statement = QStringLiteral(
        "INSERT INTO usage_events (account, id, type, client_ts, duration_s, word_count, "
        "target_app, app_version, received) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?) "
        "ON CONFLICT (account, id) DO NOTHING");
    for (const UsageEvent& event : events)
        if (!connection.execute(statement, {account, event.id, event.type, event.clientTs,
                                            event.durationS, event.wordCount,
                                            orNull(event.targetApp), event.appVersion, now()}))
            return tl::unexpected(Failed{});
    return {};
}

Stored<void> add(Connection& connection, qint64 account, const QList<ErrorReport>& reports) {
    const auto statement = QStringLiteral(
        "INSERT INTO error_reports (account, id, kind, message, client_ts, app_version, received) "
        "VALUES (?, ?, ?, ?, ?, ?, ?) ON CONFLICT (account, id) DO NOTHING");
    for (const ErrorReport& report : reports)
        if (!connection.execute(statement, {account, report.id, report.kind, report.message,
                                            report.clientTs, report.appVersion, now()}))
            return tl::unexpected(Failed{});
    return {};
}

Stored<void> add(Connection& connection, const FunnelPing& ping) {
    return outcome(connection.execute(
        QStringLiteral("INSERT INTO funnel_pings (install_id, stage, client_ts, app_version, "
                       "received) VALUES (?, ?, ?, ?, ?) ON CONFLICT (install_id, stage) DO "
                       "NOTHING"),
        {ping.installId, ping.stage, ping.clientTs, orNull(ping.appVersion), now()}));
}

Stored<void> putSettings(Connection& connection, qint64 account, const QByteArray& record) {
    return outcome(connection.execute(
        QStringLiteral("INSERT INTO settings (account, record, changed) VALUES (?, ?, ?) "
                       "ON CONFLICT (account) DO UPDATE SET record = excluded.record, changed = "
                       "excluded.changed"),
        {account, QString::fromUtf8(record), now()}));
}

Stored<std::optional<QByteArray>> settings(Connection& connection, qint64 account) {
    const auto rows = connection.select(
        QStringLiteral("SELECT record FROM settings WHERE account = ?"), {account});
    if (!rows) return tl::unexpected(Failed{});
    if (rows->isEmpty()) return std::optional<QByteArray>();
    return rows->first().first().toString().toUtf8();
}

} // namespace murlo::backend::store
