#include "tests/harness/SoundServer.h"
#include "tests/harness/Files.h"

#include <QtTest>

namespace murlo {

SoundServer::SoundServer()
    : m_formerAddress(qgetenv("PULSE_SERVER")) {
    qputenv("PULSE_SERVER", "unix:" + m_folder.path().toLocal8Bit() + "/native");
}

SoundServer::~SoundServer() {
    silence();
    kill();
    qputenv("PULSE_SERVER", m_formerAddress);
}

bool SoundServer::start() {
    const QString socket = m_folder.filePath(QStringLiteral("native"));
    QFile::remove(socket);
    auto environment = QProcessEnvironment::systemEnvironment();
    for (const QString& folder :
         {QStringLiteral("HOME"), QStringLiteral("PULSE_RUNTIME_PATH"),
          QStringLiteral("PULSE_STATE_PATH"), QStringLiteral("XDG_RUNTIME_DIR")})
        environment.insert(folder, m_folder.path());
    // Its D-Bus name is for one server per session; this one does without.
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                       QStringLiteral("unix:path=/nonexistent"));
    m_server.setProcessEnvironment(environment);
    m_server.setStandardOutputFile(QProcess::nullDevice());
    m_server.setStandardErrorFile(m_folder.filePath(QStringLiteral("log")));
    const QString options = QStringLiteral("-n --daemonize=no --use-pid-file=no --realtime=no "
                                           "--high-priority=no --exit-idle-time=-1 -L");
    m_server.start(QStringLiteral("pulseaudio"),
                   QProcess::splitCommand(options)
                       << QStringLiteral("module-native-protocol-unix auth-anonymous=1 socket=") +
                              socket);
    return m_server.waitForStarted() &&
           QTest::qWaitFor([this] { return !pactl(QStringLiteral("info")).isEmpty(); }, 15000);
}

void SoundServer::kill() {
    m_microphones.clear();
    if (m_server.state() == QProcess::NotRunning) return;
    m_server.kill();
    m_server.waitForFinished();
}

QString SoundServer::pactl(const QString& command) {
    QProcess process;
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(QStringLiteral("pactl"), QProcess::splitCommand(command));
    if (!process.waitForFinished(10000) || process.exitCode() != 0) return {};
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

bool SoundServer::plug(const QString& name, AudioFormat format, bool asDefault) {
    // Without rewinds the sink works in short steps at once, as a sound card does.
    const QString module = pactl(
        QStringLiteral("load-module module-null-sink norewinds=1 sink_name=%1 rate=%2 channels=%3")
            .arg(name)
            .arg(format.sampleRate)
            .arg(format.channels));
    if (module.isEmpty()) return false;
    m_microphones.insert(name, {module, format});
    return !asDefault || setDefault(name);
}

void SoundServer::unplug(const QString& name) {
    silence();
    pactl(QStringLiteral("unload-module ") + m_microphones.take(name).module);
}

bool SoundServer::setDefault(const QString& name) {
    const QString source = name + QStringLiteral(".monitor");
    pactl(QStringLiteral("set-default-source ") + source);
    return pactl(QStringLiteral("get-default-source")) == source;
}

bool SoundServer::speakInto(const QString& name, std::span<const float> interleaved) {
    silence();
    const QString file = m_folder.filePath(QStringLiteral("speech.raw"));
    putFile(file, {reinterpret_cast<const char*>(interleaved.data()),
                   static_cast<qsizetype>(interleaved.size_bytes())});
    const AudioFormat format = m_microphones.value(name).format;
    const QString options = QStringLiteral("--playback --raw --format=float32le --latency-msec=500 "
                                           "--device=%1 --rate=%2 --channels=%3");
    m_player = std::make_unique<QProcess>();
    m_player->start(
        QStringLiteral("pacat"),
        QProcess::splitCommand(options.arg(name).arg(format.sampleRate).arg(format.channels))
            << file);
    return m_player->waitForStarted();
}

void SoundServer::silence() {
    if (!m_player) return;
    m_player->kill();
    m_player->waitForFinished();
    m_player.reset();
}

} // namespace murlo
