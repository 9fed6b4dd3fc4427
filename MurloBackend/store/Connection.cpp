#include "Connection.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlError>
#include <QSqlRecord>
#include <QStandardPaths>
#include <QUrl>
#include <QUrlQuery>

#include <atomic>
#include <sys/stat.h>

namespace murlo::backend {

namespace {

/// How long a statement waits for another connection's write lock on an SQLite file, milliseconds.
constexpr int busyTimeout = 5000;

QString newName() {
    static std::atomic<int> count = 0;
    return QStringLiteral("murlo-%1").arg(++count);
}

/// The database's first line, since further ones may quote values.
QString faultOf(const QSqlError& error) {
    const QString words =
        error.databaseText().isEmpty() ? error.driverText() : error.databaseText();
    return words.section(QLatin1Char('\n'), 0, 0);
}

/// Device and inode of the file that has this name.
std::optional<std::pair<quint64, quint64>> fileAt(const QString& path) {
    struct stat status {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0) return std::nullopt;
    return std::pair<quint64, quint64>(status.st_dev, status.st_ino);
}

} // namespace

std::optional<DatabaseAddress> DatabaseAddress::parse(const QString& text) {
    DatabaseAddress address;
    const bool isPostgres = text.startsWith(QLatin1String("postgresql://")) ||
                            text.startsWith(QLatin1String("postgres://"));
    if (!isPostgres) {
        if (text.contains(QLatin1String("://"))) return std::nullopt;
        address.path = text.isEmpty() ? usualFile() : text;
        return address;
    }
    const QUrl url(text);
    if (!url.isValid() || url.path().size() < 2) return std::nullopt;
    address.isPostgres = true;
    address.host = url.host();
    address.port = url.port(-1);
    address.name = url.path().mid(1);
    address.user = url.userName();
    address.password = url.password();
    QStringList options{QStringLiteral("connect_timeout=5")};
    const auto items = QUrlQuery(url).queryItems(QUrl::FullyDecoded);
    for (const auto& [key, value] : items) {
        if (key == QLatin1String("host"))
            address.host = value;
        else
            options << key + QLatin1Char('=') + value;
    }
    address.options = options.join(QLatin1Char(';'));
    return address;
}

QString DatabaseAddress::usualFile() {
    QString folder = qEnvironmentVariable("STATE_DIRECTORY").section(QLatin1Char(':'), 0, 0);
    if (folder.isEmpty())
        folder = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                 QStringLiteral("/murlo-backend");
    return folder + QStringLiteral("/murlo.db");
}

Connection::Connection(DatabaseAddress address)
    : m_address(std::move(address))
    , m_name(newName()) {}

Connection::~Connection() {
    close();
}

bool Connection::open() {
    const auto driver = m_address.isPostgres ? QStringLiteral("QPSQL") : QStringLiteral("QSQLITE");
    if (!QSqlDatabase::isDriverAvailable(driver)) {
        m_fault = QStringLiteral("the package %1 is not installed")
                      .arg(m_address.isPostgres ? QStringLiteral("libqt6sql6-psql")
                                                : QStringLiteral("libqt6sql6-sqlite"));
        return false;
    }
    m_database = QSqlDatabase::addDatabase(driver, m_name);
    if (m_address.isPostgres) {
        m_database.setHostName(m_address.host);
        m_database.setPort(m_address.port);
        m_database.setDatabaseName(m_address.name);
        m_database.setUserName(m_address.user);
        m_database.setPassword(m_address.password);
        m_database.setConnectOptions(m_address.options);
    } else {
        // The folder is this user's alone, and so is the file from its first byte.
        const QString folder = QFileInfo(m_address.path).absolutePath();
        if (!QFileInfo::exists(folder) && QDir().mkpath(folder))
            QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QFile file(m_address.path);
        if (!file.open(QIODevice::ReadWrite) ||
            !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner)) {
            m_fault = QStringLiteral("%1: %2").arg(m_address.path, file.errorString());
            return false;
        }
        m_database.setDatabaseName(m_address.path);
        m_database.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(busyTimeout));
    }
    if (!m_database.open()) {
        m_fault = faultOf(m_database.lastError());
        return false;
    }
    if (m_address.isPostgres) return true;
    m_file = fileAt(m_address.path);
    return configureFile();
}

bool Connection::configureFile() {
    // Full synchronisation: what was committed outlives a crash of the computer, too.
    return command(QStringLiteral("PRAGMA journal_mode=WAL")) &&
           command(QStringLiteral("PRAGMA synchronous=FULL")) &&
           command(QStringLiteral("PRAGMA foreign_keys=ON"));
}

void Connection::close() {
    m_prepared.clear();
    m_file.reset();
    if (!m_database.isValid()) return;
    m_database.close();
    m_database = QSqlDatabase();
    QSqlDatabase::removeDatabase(m_name);
}

bool Connection::isGone() const {
    return !m_address.isPostgres && (!m_file || fileAt(m_address.path) != m_file);
}

bool Connection::revive() {
    // A removed file can still be read, by who has it open.
    if (!isGone() && command(QStringLiteral("SELECT 1"))) return true;
    close();
    return open();
}

QSqlQuery* Connection::run(const QString& statement, const QVariantList& values) {
    if (!m_database.isOpen()) return nullptr;
    auto found = m_prepared.find(statement);
    if (found == m_prepared.end()) {
        QSqlQuery query(m_database);
        query.setForwardOnly(!m_address.isPostgres); // there it would mean a round trip per row
        if (!query.prepare(statement)) {
            m_fault = faultOf(query.lastError());
            return nullptr;
        }
        found = m_prepared.emplace(statement, std::move(query)).first;
    }
    QSqlQuery& query = found->second;
    for (int at = 0; at < values.size(); ++at) query.bindValue(at, values[at]);
    if (query.exec()) return &query;
    m_fault = faultOf(query.lastError());
    query.finish();
    return nullptr;
}

std::optional<QList<QVariantList>> Connection::select(const QString& statement,
                                                      const QVariantList& values) {
    QSqlQuery* query = run(statement, values);
    if (!query) return std::nullopt;
    QList<QVariantList> rows;
    const int columns = query->record().count();
    while (query->next()) {
        QVariantList row;
        for (int column = 0; column < columns; ++column) row << query->value(column);
        rows << row;
    }
    query->finish();
    return rows;
}

bool Connection::execute(const QString& statement, const QVariantList& values) {
    QSqlQuery* query = run(statement, values);
    if (query) query->finish();
    return query != nullptr;
}

bool Connection::command(const QString& statement) {
    if (!m_database.isOpen()) return false;
    QSqlQuery query(m_database);
    if (query.exec(statement)) return true;
    m_fault = faultOf(query.lastError());
    return false;
}

bool Connection::begin() {
    return command(m_address.isPostgres ? QStringLiteral("BEGIN")
                                        : QStringLiteral("BEGIN IMMEDIATE"));
}

bool Connection::commit() {
    return command(QStringLiteral("COMMIT"));
}

void Connection::rollback() {
    // Fails where the failure has ended the transaction already.
    const QString fault = m_fault;
    if (!command(QStringLiteral("ROLLBACK"))) m_fault = fault;
}

} // namespace murlo::backend
