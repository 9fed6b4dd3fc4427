#include "tests/harness/desktop/MurloProcess.h"

#include "tests/harness/Files.h"
#include "tests/harness/desktop/Waiting.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

namespace murlo {

MurloProcess::MurloProcess(QString program, QString home)
    : m_program(std::move(program))
    , m_home(std::move(home)) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), m_home);
    environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
    m_process.setProcessEnvironment(environment);
    // Its standard error repeats the log; sanitizers speak there too.
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
}

bool MurloProcess::seed(const QString& model, const QJsonObject& settings) {
    const QString support = file({});
    QDir().mkpath(support + QStringLiteral("models"));
    const QString own = support + QStringLiteral("models/") + QFileInfo(model).fileName();
    QFile::remove(own);
    if (!QFile::copy(model, own)) return false;
    QJsonObject all{{QStringLiteral("accountEmail"), QStringLiteral("demo@example.com")},
                    {QStringLiteral("onboardingComplete"), true}};
    for (const QString& name : settings.keys()) all[name] = settings[name];
    putFile(file(QStringLiteral("settings.json")), QJsonDocument(all).toJson());
    return true;
}

void MurloProcess::setEnvironment(const QString& name, const QString& value) {
    QProcessEnvironment environment = m_process.processEnvironment();
    environment.insert(name, value);
    m_process.setProcessEnvironment(environment);
}

bool MurloProcess::start() {
    forgetLog();
    m_started = m_logStart;
    m_process.start(m_program, QStringList());
    return m_process.waitForStarted();
}

bool MurloProcess::openAgain() const {
    QProcess again;
    again.setProcessEnvironment(m_process.processEnvironment());
    again.start(m_program, QStringList());
    return again.waitForFinished() && again.exitStatus() == QProcess::NormalExit &&
           again.exitCode() == 0;
}

bool MurloProcess::awaitReady(int milliseconds) {
    const auto isListening = [this] {
        return !lineWith(QStringLiteral("hotkey: dictate=")).isEmpty();
    };
    return waitFor([&] { return !isRunning() || isListening(); }, milliseconds, 20) &&
           awaitEngine(milliseconds);
}

bool MurloProcess::awaitEngine(int milliseconds) {
    const auto isReady = [this] {
        return !lineWith(QStringLiteral("whisper-server: ready")).isEmpty();
    };
    return waitFor([&] { return !isRunning() || isReady(); }, milliseconds, 20) && isRunning();
}

std::optional<int> MurloProcess::quit(int milliseconds) {
    if (isRunning()) {
        m_process.terminate();
        if (!m_process.waitForFinished(milliseconds)) m_process.kill();
        m_process.waitForFinished();
    }
    return m_process.exitStatus() == QProcess::NormalExit ? std::optional(m_process.exitCode())
                                                          : std::nullopt;
}

qint64 engineOf(qint64 program) {
    QProcess search;
    search.start(QStringLiteral("pgrep"), {QStringLiteral("-P"), QString::number(program),
                                           QStringLiteral("whisper-server")});
    search.waitForFinished();
    return search.readLine().trimmed().toLongLong();
}

QStringList MurloProcess::troubles() const {
    static const QRegularExpression signs(QStringLiteral(
        "\\] qt: |could not|cannot|can't|failed|error|no answer|went away|is gone|is lost|lacks "
        "|no bus|no events|no X server|another program holds|was not released|ends before"));
    return linesFrom(m_started).filter(signs);
}

QStringList MurloProcess::linesFrom(qint64 position) const {
    QFile log(file(QStringLiteral("brisvane.log")));
    if (!log.open(QIODevice::ReadOnly) || !log.seek(position)) return {};
    const QString text = QString::fromUtf8(log.readAll());
    // A last line without its end is still being written.
    return text.left(text.lastIndexOf(QLatin1Char('\n')) + 1)
        .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

void MurloProcess::forgetLog() {
    m_logStart = QFileInfo(file(QStringLiteral("brisvane.log"))).size();
}

bool MurloProcess::awaitLog(const QString& words, int milliseconds) const {
    return waitFor([&] { return !lineWith(words).isEmpty(); }, milliseconds, 5);
}

std::optional<int> MurloProcess::loggedAt(const QString& words) const {
    const QString line = lineWith(words);
    const QTime stamp = QTime::fromString(line.mid(1, 12), QStringLiteral("HH:mm:ss.zzz"));
    return stamp.isValid() ? std::optional(stamp.msecsSinceStartOfDay()) : std::nullopt;
}

QStringList MurloProcess::history() const {
    const QByteArray saved = contentOf(file(QStringLiteral("history.json")));
    QStringList texts;
    const QJsonArray entries = QJsonDocument::fromJson(saved).array();
    for (const auto& entry : entries) texts.append(entry[QStringLiteral("text")].toString());
    return texts;
}

} // namespace murlo
