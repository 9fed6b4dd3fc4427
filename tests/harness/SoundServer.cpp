#include "tests/harness/SoundServer.h"

#include <QFile>
#include <QtTest>

namespace murlo {

namespace {

QString text(const char* latin1) {
    return QString::fromLatin1(latin1);
}

} // namespace

SoundServer::SoundServer()
    : m_formerAddress(qgetenv("PULSE_SERVER")) {
    qputenv("PULSE_SERVER", "unix:" + m_folder.filePath(text("native")).toLocal8Bit());
}

SoundServer::~SoundServer() {
    silence();
    kill();
    qputenv("PULSE_SERVER", m_formerAddress);
}

QProcessEnvironment SoundServer::environment() const {
    auto environment = QProcessEnvironment::systemEnvironment();
    for (const char* folder :
         {"HOME", "PULSE_RUNTIME_PATH", "PULSE_STATE_PATH", "XDG_RUNTIME_DIR"}) {
        environment.insert(text(folder), m_folder.path());
    }
    // Its D-Bus name is for one server per session; this one does without.
    environment.insert(text("DBUS_SESSION_BUS_ADDRESS"), text("unix:path=/nonexistent"));
    return environment;
}

bool SoundServer::start() {
    const QString socket = m_folder.filePath(text("native"));
    QFile::remove(socket);
    m_server.setProcessEnvironment(environment());
    m_server.setStandardOutputFile(QProcess::nullDevice());
    m_server.setStandardErrorFile(m_folder.filePath(text("log")));
    m_server.start(text("pulseaudio"),
                   {text("-n"), text("--daemonize=no"), text("--use-pid-file=no"),
                    text("--exit-idle-time=-1"), text("--realtime=no"), text("--high-priority=no"),
                    text("-L"),
                    text("module-native-protocol-unix auth-anonymous=1 socket=%1").arg(socket)});
    return m_server.waitForStarted() &&
           QTest::qWaitFor([this] { return !pactl({text("info")}).isEmpty(); }, 15000);
}

void SoundServer::kill() {
    m_modules.clear();
    if (m_server.state() == QProcess::NotRunning) return;
    m_server.kill();
    m_server.waitForFinished();
}

QString SoundServer::pactl(const QStringList& arguments) {
    QProcess process;
    process.setProcessEnvironment(environment());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(text("pactl"), arguments);
    if (!process.waitForFinished(10000) || process.exitCode() != 0) return {};
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

QString SoundServer::load(const QStringList& module) {
    return pactl(QStringList{text("load-module")} + module);
}

bool SoundServer::plug(const QString& name, int sampleRate, int channels, bool asDefault) {
    // Without rewinds the sink works in short steps at once, as a sound card does.
    const QString module =
        load({text("module-null-sink"), text("norewinds=1"), text("sink_name=%1").arg(name),
              text("rate=%1").arg(sampleRate), text("channels=%1").arg(channels)});
    if (module.isEmpty()) return false;
    m_modules.insert(name, module);
    return !asDefault || setDefault(name);
}

void SoundServer::unplug(const QString& name) {
    silence();
    pactl({text("unload-module"), m_modules.take(name)});
}

bool SoundServer::setDefault(const QString& name) {
    const QString source = name + text(".monitor");
    pactl({text("set-default-source"), source});
    return pactl({text("get-default-source")}) == source;
}

bool SoundServer::speakInto(const QString& name, std::span<const float> interleaved, int sampleRate,
                            int channels) {
    silence();
    QFile file(m_folder.filePath(text("speech.raw")));
    if (!file.open(QIODevice::WriteOnly)) return false;
    file.write(reinterpret_cast<const char*>(interleaved.data()),
               static_cast<qint64>(interleaved.size_bytes()));
    file.close();
    m_player = std::make_unique<QProcess>();
    m_player->setProcessEnvironment(environment());
    m_player->start(text("pacat"),
                    {text("--playback"), text("--raw"), text("--format=float32le"),
                     text("--device=%1").arg(name), text("--rate=%1").arg(sampleRate),
                     text("--channels=%1").arg(channels), text("--latency-msec=500"),
                     file.fileName()});
    return m_player->waitForStarted();
}

void SoundServer::silence() {
    if (!m_player) return;
    m_player->kill();
    m_player->waitForFinished();
    m_player.reset();
}

} // namespace murlo
