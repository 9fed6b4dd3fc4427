#pragma once

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <unistd.h>

namespace murlo::backend {

/// A PostgreSQL server of a test's own: in a temporary folder, reached by a socket in it alone, run
/// by an unprivileged user. It ends with this object.
class Postgres {
public:
    Postgres() {
        const auto versions =
            QDir("/usr/lib/postgresql").entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        if (versions.isEmpty()) return;
        m_programs = "/usr/lib/postgresql/" + versions.last() + "/bin/";
        if (::getuid() == 0) QProcess::execute("chown", {"postgres", m_folder.path()});
        m_initialised = run("initdb", {"-A", "trust", "-U", "murlo", "-D", data()});
    }
    ~Postgres() { stop(); }
    Postgres(const Postgres&) = delete;
    Postgres& operator=(const Postgres&) = delete;

    /// Starts it; false where there is none.
    bool start() {
        const QString options =
            "-c listen_addresses='' -c unix_socket_directories=" + m_folder.path();
        return m_initialised && run("pg_ctl", {"-w", "-D", data(), "-l", m_folder.filePath("log"),
                                               "-o", options, "start"});
    }
    void stop() {
        if (m_initialised) run("pg_ctl", {"-w", "-m", "immediate", "-D", data(), "stop"});
    }
    [[nodiscard]] QString address() const {
        return "postgresql://murlo@/postgres?host=" + m_folder.path();
    }

private:
    [[nodiscard]] QString data() const { return m_folder.filePath("data"); }
    bool run(const QString& program, const QStringList& arguments) {
        QProcess process;
        process.setStandardOutputFile(QProcess::nullDevice());
        process.setStandardErrorFile(QProcess::nullDevice());
        process.setWorkingDirectory("/");
        if (::getuid() == 0)
            process.start("runuser",
                          QStringList{"-u", "postgres", "--", m_programs + program} + arguments);
        else
            process.start(m_programs + program, arguments);
        return process.waitForFinished(60'000) && process.exitCode() == 0;
    }

    QTemporaryDir m_folder;
    QString m_programs;
    bool m_initialised = false;
};

} // namespace murlo::backend
