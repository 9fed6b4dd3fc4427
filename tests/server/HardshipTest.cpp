#include "MurloBackend/store/Connection.h"
#include "tests/harness/Files.h"
#include "tests/harness/Rows.h"
#include "tests/server/HttpProbe.h"
#include "tests/server/Postgres.h"

#include <QProcess>
#include <QSet>
#include <QTest>

#include <atomic>
#include <csignal>
#include <mutex>
#include <thread>

namespace murlo::backend {

namespace {

constexpr int patience = 20'000; ///< milliseconds

/// The server as it is built, on a free port.
class Program {
public:
    explicit Program(const QStringList& settings) {
        QStringList arguments{"--config", "/dev/null"};
        for (const QString& setting :
             QStringList{"port=0", "account-rate=0", "peer-rate=0"} + settings)
            arguments << "--set" << setting;
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.start(MURLO_BACKEND_PROGRAM, arguments);
    }
    ~Program() { end(SIGKILL); }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Where it listens; 0 if it does not.
    quint16 port() {
        while (m_port == 0) {
            const QByteArray mark = "listening on http://127.0.0.1:";
            const auto at = m_log.indexOf(mark);
            if (at >= 0 && m_log.indexOf('\n', at) > 0)
                m_port = m_log.mid(at + mark.size()).split('\n').first().toUShort();
            else if (!m_process.waitForReadyRead(patience))
                break;
            m_log += m_process.readAll();
        }
        return m_port;
    }
    /// Its exit status after this signal (or without one); -1 if it did not end by itself.
    int end(int signal) {
        if (m_process.state() != QProcess::NotRunning && signal != 0)
            ::kill(static_cast<pid_t>(m_process.processId()), signal);
        const bool ended =
            m_process.state() == QProcess::NotRunning || m_process.waitForFinished(patience);
        m_log += m_process.readAll();
        return ended && m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
    }
    [[nodiscard]] const QByteArray& log() const { return m_log; }

private:
    QProcess m_process;
    QByteArray m_log;
    quint16 m_port = 0;
};

/// Clients that send event after event, each of its own identity, until they get no answer.
class Writers {
public:
    Writers(const QList<quint16>& ports, const QByteArray& key)
        : m_running(static_cast<int>(ports.size()) * 2) {
        for (const quint16 port : ports)
            for (int client = 0; client < 2; ++client)
                m_threads.emplace_back([this, port, key] { write(port, key); });
    }
    ~Writers() { join(); }
    /// Waits until so many events more are acknowledged.
    void reach(int count) const {
        const int goal = m_count + count;
        while (m_count < goal && m_running > 0) std::this_thread::yield();
    }
    void join() {
        m_ends = true;
        for (std::thread& thread : m_threads) thread.join();
        m_threads.clear();
    }
    QSet<qint64> acknowledged; ///< after `join`

private:
    void write(quint16 port, const QByteArray& key) {
        HttpProbe probe(port);
        for (int status = 200; status != 0 && !m_ends;) {
            const qint64 number = ++m_next;
            status = probe.ask("POST", "/events", "{\"events\":[" + usageEvent(number) + "]}", key)
                         .status;
            if (status != 200) continue;
            const std::lock_guard lock(m_lock);
            acknowledged << number;
            ++m_count;
        }
        --m_running;
    }

    std::vector<std::thread> m_threads;
    std::mutex m_lock;
    std::atomic<qint64> m_next = 1000;
    std::atomic<int> m_count = 0;
    std::atomic<int> m_running; ///< threads
    std::atomic<bool> m_ends = false;
};

/// The events that the database has.
QSet<qint64> storedEvents(const QString& database) {
    Connection connection(*DatabaseAddress::parse(database));
    QSet<qint64> stored;
    if (!connection.open()) return stored;
    for (const auto& row :
         connection.select("SELECT id FROM usage_events").value_or(QList<QVariantList>{}))
        stored << row.first().toString().section('-', -1).toLongLong(nullptr, 16);
    return stored;
}

int send(quint16 port, const QByteArray& key, qint64 number, const QByteArray& text = "a") {
    return HttpProbe(port)
        .ask("POST", "/events", "{\"events\":[" + usageEvent(number, text) + "]}", key)
        .status;
}

} // namespace

class HardshipTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_folder;

    QString file(const char* name) const { return m_folder.filePath(name); }
    static QByteArray keyAt(quint16 port) {
        HttpProbe probe(port);
        return signUp(probe, signIn(probe));
    }

private Q_SLOTS:
    void initTestCase() { qputenv("XDG_DATA_HOME", m_folder.path().toUtf8()); }

    void aKillLosesNothingAcknowledged() {
        const QString database = file("killed.db");
        Program program({"database=" + database});
        const QByteArray key = keyAt(program.port());
        QVERIFY(!key.isEmpty());
        Writers writers({program.port(), program.port()}, key);
        writers.reach(200);
        program.end(SIGKILL);
        writers.join();
        Program again({"database=" + database});
        QCOMPARE(send(again.port(), key, 1), 200);
        QVERIFY(writers.acknowledged.size() >= 200);
        QVERIFY(storedEvents(database).contains(writers.acknowledged));
    }

    void twoInstancesShareADatabase() {
        Postgres postgres;
        if (!postgres.start()) QSKIP("there is no PostgreSQL");
        const QStringList settings{"database=" + postgres.address(), "keys-per-account=1"};
        Program one(settings);
        Program other(settings); // both make the tables
        QVERIFY(one.port() != 0 && other.port() != 0);
        const QByteArray old = keyAt(one.port());
        QVERIFY(QFile::exists(file("murlo-backend/sign-in-key.pem")));
        QCOMPARE(send(other.port(), old, 1, "x'); DROP TABLE usage_events;--"), 200);
        const QByteArray key = keyAt(other.port());
        QCOMPARE(send(one.port(), old, 2), 401); // ended by the newer one, on the other instance
        QCOMPARE(send(one.port(), key, 1), 200); // a repeat

        Writers writers({one.port(), other.port()}, key);
        writers.reach(100);
        one.end(SIGKILL);
        writers.reach(100); // the other goes on
        postgres.stop();    // "immediate": as if it were killed
        QCOMPARE(HttpProbe(other.port()).ask("GET", "/health").status, 503);
        QCOMPARE(send(other.port(), key, 3), 503);
        QVERIFY(postgres.start());
        writers.reach(10); // after their 503s
        writers.join();
        QCOMPARE(HttpProbe(other.port()).ask("GET", "/health").status, 200);
        const auto stored = storedEvents(postgres.address());
        QVERIFY(stored.contains(writers.acknowledged));
        QVERIFY(stored.contains(1) && !stored.contains(2));
        QCOMPARE(other.end(SIGTERM), 0);
    }

    void aFullDiskIsToldAndForgotten() {
        const QString disk = file("disk");
        QDir().mkpath(disk);
        if (QProcess::execute("mount", {"-t", "tmpfs", "-o", "size=2m", "tmpfs", disk}) != 0)
            QSKIP("a small disk cannot be mounted here");
        const QString database = disk + "/murlo.db";
        {
            Program program({"database=" + database});
            const QByteArray key = keyAt(program.port());
            putFile(disk + "/filler", QByteArray(1024 * 1024, 'f'));
            int status = 200;
            qint64 number = 1;
            for (; status == 200 && number < 20'000; ++number)
                status = send(program.port(), key, number, QByteArray(200, 'x'));
            QCOMPARE(status, 503);
            QCOMPARE(HttpProbe(program.port()).ask("GET", "/settings", {}, key).status, 200);
            QFile::remove(disk + "/filler");
            QCOMPARE(send(program.port(), key, 100'000), 200);
            QCOMPARE(program.end(SIGTERM), 0);
            QVERIFY(storedEvents(database).size() >= number - 1);
        }
        QProcess::execute("umount", {disk});
    }

    void itEndsCleanly() {
        const QString database = file("ended.db");
        Program told({"database=" + database});
        QVERIFY(!keyAt(told.port()).isEmpty());
        QCOMPARE(QFile::permissions(database) & (QFile::ReadGroup | QFile::ReadOther),
                 QFile::Permissions());
        QCOMPARE(told.end(SIGTERM), 0);
        QVERIFY(!QFile::exists(database + "-wal"));
        QVERIFY(!told.log().contains("localhost")); // the address that was typed
        Program unused({"database=" + database, "idle-end=1"});
        QCOMPARE(unused.end(0), 0);
    }

    void aRemovedDatabaseStaysRemovedAtTheEnd() {
        const QString folder = file("removed");
        Program program({"database=" + folder + "/murlo.db"});
        const QByteArray key = keyAt(program.port());
        QVERIFY(QDir(folder).removeRecursively());
        QCOMPARE(send(program.port(), key, 1), 401); // in a new one
        QVERIFY(!keyAt(program.port()).isEmpty());
        QVERIFY(QDir(folder).removeRecursively());
        QCOMPARE(program.end(SIGTERM), 0);
        QVERIFY(!QFile::exists(folder));
    }

    void aWrongConfigurationIsExplained_data() {
        const Rows<QByteArray> row; // named by the setting; what is said of it
        row("prot=1", "there is no key \"prot\"");
        row("port=70000", "number from 0 to 65535");
        row("proxy-trust=maybe", "yes or no");
        row("listen=somewhere", "IP address");
        row("listen=0.0.0.0", "identity provider");
        row("public-address=https://example.org", "identity provider");
        row("issuer=https://example.org", "together");
        row("polish-url=http://example.org/v1", "https");
        row("polish-key-file=/nowhere", "cannot be read");
    }
    void aWrongConfigurationIsExplained() {
        const QByteArray words = std::get<0>(fetch<QByteArray>());
        const QString own = file("murlo-backend.conf");
        putFile(own, "# a comment\n\nport = 0\n" + QByteArray(QTest::currentDataTag()) + '\n');
        QProcess process;
        process.start(MURLO_BACKEND_PROGRAM, {"--check", "--config", own});
        QVERIFY(process.waitForFinished(patience));
        const QByteArray said = process.readAllStandardError();
        QCOMPARE(process.exitCode(), 2);
        QVERIFY2(said.contains(words), said);
        QCOMPARE(said.count('\n'), 1);
    }

    void theShippedConfigurationIsGood() {
        QByteArrayList lines = contentOf(MURLO_BACKEND_CONFIGURATION).split('\n');
        QVERIFY(lines.size() > 1);
        for (QByteArray& line : lines) // every key that has a default
            if (line.startsWith('#') && line.contains(" = ") && !line.startsWith("# "))
                line.remove(0, 1);
        const QString own = file("all.conf");
        putFile(own, lines.join('\n'));
        QCOMPARE(QProcess::execute(MURLO_BACKEND_PROGRAM, {"--check", "--config", own}), 0);
    }
};

} // namespace murlo::backend

QTEST_GUILESS_MAIN(murlo::backend::HardshipTest)
#include "HardshipTest.moc"
