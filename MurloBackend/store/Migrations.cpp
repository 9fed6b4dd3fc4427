#include "Migrations.h"

namespace murlo::backend {

namespace {

/// Every step, oldest first; its number is its place, counted from 1. A step that was released
/// never changes. %ID% stands for a number that the database gives to a new row.
QList<QStringList> steps() {
    return {
        {
            QStringLiteral("CREATE TABLE accounts (id %ID%, issuer TEXT NOT NULL, subject TEXT NOT "
                           "NULL, email TEXT NOT NULL, created BIGINT NOT NULL, "
                           "UNIQUE (issuer, subject))"),
            QStringLiteral("CREATE TABLE api_keys (id %ID%, account BIGINT NOT NULL REFERENCES "
                           "accounts(id), hash TEXT NOT NULL UNIQUE, created BIGINT NOT NULL)"),
            QStringLiteral("CREATE INDEX api_keys_of_account ON api_keys (account)"),
            QStringLiteral("CREATE TABLE settings (account BIGINT PRIMARY KEY REFERENCES "
                           "accounts(id), record TEXT NOT NULL, changed BIGINT NOT NULL)"),
            QStringLiteral(
                "CREATE TABLE usage_events (account BIGINT NOT NULL REFERENCES "
                "accounts(id), id TEXT NOT NULL, type TEXT NOT NULL, client_ts TEXT NOT "
                "NULL, duration_s DOUBLE PRECISION NOT NULL, word_count BIGINT NOT NULL, "
                "target_app TEXT, app_version TEXT NOT NULL, received BIGINT NOT NULL, "
                "PRIMARY KEY (account, id))"),
            QStringLiteral("CREATE TABLE error_reports (account BIGINT NOT NULL REFERENCES "
                           "accounts(id), id TEXT NOT NULL, kind TEXT NOT NULL, message TEXT NOT "
                           "NULL, client_ts TEXT NOT NULL, app_version TEXT NOT NULL, received "
                           "BIGINT NOT NULL, PRIMARY KEY (account, id))"),
            QStringLiteral("CREATE TABLE funnel_pings (install_id TEXT NOT NULL, stage TEXT NOT "
                           "NULL, client_ts TEXT NOT NULL, app_version TEXT, received BIGINT NOT "
                           "NULL, PRIMARY KEY (install_id, stage))"),
        },
        {
            QStringLiteral("ALTER TABLE api_keys ADD COLUMN token TEXT"),
        },
    };
}

/// The number of the last step that was made; nothing if it cannot be had.
std::optional<int> madeSteps(Connection& connection) {
    if (!connection.command(
            QStringLiteral("CREATE TABLE IF NOT EXISTS schema_version (version BIGINT NOT NULL)")))
        return std::nullopt;
    const auto rows = connection.select(QStringLiteral("SELECT version FROM schema_version"));
    if (!rows) return std::nullopt;
    if (!rows->isEmpty()) return rows->first().first().toInt();
    if (!connection.execute(QStringLiteral("INSERT INTO schema_version VALUES (0)")))
        return std::nullopt;
    return 0;
}

/// Within a transaction.
QString makeSteps(Connection& connection) {
    // On PostgreSQL instances take turns by this lock; on SQLite the transaction has the write
    // lock.
    if (connection.isPostgres() &&
        !connection.command(QStringLiteral("SELECT pg_advisory_xact_lock(7267135)")))
        return connection.fault();
    const auto made = madeSteps(connection);
    if (!made) return connection.fault();
    const auto all = steps();
    if (*made > all.size())
        return QStringLiteral("it was made by a newer version of this program (%1)").arg(*made);
    const QString id = connection.isPostgres()
                           ? QStringLiteral("BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY")
                           : QStringLiteral("INTEGER PRIMARY KEY AUTOINCREMENT");
    for (qsizetype step = *made; step < all.size(); ++step)
        for (QString statement : all[step])
            if (!connection.command(statement.replace(QStringLiteral("%ID%"), id)))
                return connection.fault();
    if (!connection.execute(QStringLiteral("UPDATE schema_version SET version = ?"),
                            {static_cast<qint64>(all.size())}))
        return connection.fault();
    return {};
}

} // namespace

QString migrate(Connection& connection) {
    if (!connection.begin()) return connection.fault();
    QString fault = makeSteps(connection);
    if (fault.isEmpty() && !connection.commit()) fault = connection.fault();
    if (!fault.isEmpty()) connection.rollback();
    return fault;
}

} // namespace murlo::backend
