#include "tools/demo/Demo.h"

#include "dictation/engine/WhisperServer.h"
#include "tests/harness/desktop/Letters.h"
#include "tests/harness/desktop/Screenshot.h"
#include "tests/harness/desktop/Waiting.h"
#include "tests/harness/desktop/Windows.h"

#include <QClipboard>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHttpMultiPart>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTcpSocket>

#include <cstdio>

namespace murlo {

namespace {

// A person's double tap: each press and the gap between them, in milliseconds.
constexpr int pressed = 60;
constexpr int gap = 90;
// A breath between the sound of readiness and the first word, and after the last one.
constexpr int breath = 250;
// Until a window manager has carried out a wish.
constexpr int settled = 300;

void say(const QString& words) {
    std::fprintf(stderr, "demo: %s\n", qUtf8Printable(words));
}

void print(const char* name, const QString& value) {
    QString line = value;
    line.replace(QLatin1Char('\n'), QLatin1String("\\n"));
    std::printf("%s: %s\n", name, qUtf8Printable(line));
    std::fflush(stdout);
}

bool onVirtualDesktop() {
    return qEnvironmentVariableIsSet("MURLO_VIRTUAL_DESKTOP");
}

auto failure(const char* words) {
    return tl::unexpected(QString::fromUtf8(words));
}

} // namespace

Demo::Demo(DemoOptions options)
    : m_options(std::move(options)) {}

Demo::~Demo() {
    m_murlo.reset();
    m_soundServer.terminate();
    if (!m_soundServer.waitForFinished(2000)) m_soundServer.kill();
}

tl::expected<void, QString> Demo::run() {
    if (!m_folder.isValid()) return failure("No temporary folder could be made.");
    return prepareSpeech()
        .and_then([this] { return prepareSound(); })
        .and_then([this] { return startPrograms(); })
        .and_then([this] { return dictate(); })
        .and_then([this] { return awaitText(); })
        .and_then([this] { return measureEngine(); })
        .and_then([this] { return report(); });
}

Demo::Step Demo::prepareSpeech() {
    if (!m_options.screenshots.isEmpty() && !QDir().mkpath(m_options.screenshots))
        return failure("The folder for the pictures could not be made.");
    m_recording = m_options.wav;
    if (!m_recording.isEmpty()) return {};
    m_recording = m_folder.filePath(QStringLiteral("speech.wav"));
    return Speaker::synthesize(m_options.say, m_recording);
}

// On somebody's own desktop, a sound server of the demo's own stands in for the microphone: neither
// the user's microphone nor the user's speakers take part.
Demo::Step Demo::prepareSound() {
    if (onVirtualDesktop()) return {};
    say(QStringLiteral("on this desktop: keep your hands off the keyboard until it is done. The "
                       "clipboard is used and put back; your microphone and speakers, your "
                       "settings and your history are not touched"));
    QTcpSocket engine;
    engine.connectToHost(QStringLiteral("127.0.0.1"), WhisperServer::usualPort);
    if (engine.waitForConnected(300))
        return failure("Murlo is running on this desktop; quit it first, or use --virtual.");
    // Of the user's session only the display and the buses are shared.
    const QString runtime = m_folder.filePath(QStringLiteral("runtime"));
    QDir().mkpath(runtime);
    QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime);
    environment.insert(QStringLiteral("HOME"), m_folder.path());
    environment.remove(QStringLiteral("PULSE_SERVER"));
    m_soundServer.setProcessEnvironment(environment);
    m_soundServer.start(QStringLiteral(MURLO_SOUND_SERVER), {QStringLiteral("start")});
    const QString socket = runtime + QStringLiteral("/pulse/native");
    if (!waitFor([&] { return QFileInfo::exists(socket); }))
        return failure("PulseAudio, which plays the microphone, did not start.");
    qputenv("PULSE_SERVER", "unix:" + socket.toUtf8());
    return {};
}

Demo::Step Demo::startPrograms() {
    const QString home = m_folder.filePath(QStringLiteral("home"));
    QDir().mkpath(home);
    m_murlo = std::make_unique<MurloProcess>(m_options.murlo, home);
    if (!onVirtualDesktop()) {
        m_murlo->setEnvironment(QStringLiteral("XDG_RUNTIME_DIR"),
                                m_folder.filePath(QStringLiteral("runtime")));
    }
    const QJsonObject settings{{QStringLiteral("insertMode"), m_options.mode}};
    if (!m_murlo->seed(m_options.model, settings))
        return failure("Murlo's home could not be filled.");
    say(QStringLiteral(
            "starting Murlo in a home of its own, with the model %1 and the local account "
            "demo@example.com")
            .arg(QFileInfo(m_options.model).fileName()));
    if (!m_murlo->start()) return failure("Murlo could not be started.");
    say(QStringLiteral("opening %1").arg(m_options.appName));
    m_app = std::make_unique<TargetApp>(m_options.app);
    if (!m_app->start()) return failure("The other program did not show its text box.");
    if (!m_murlo->awaitReady()) return failure("Murlo did not get ready; its log is above.");
    if (!m_app->activate()) return failure("The other program could not be brought to the front.");
    if (m_options.pick) {
        m_other = std::make_unique<TargetApp>(TargetApp::Kind::gtkEntry);
        // In front, but not over the box that is to be picked.
        if (!m_other->start() || !moveToCorner(m_other->pid()))
            return failure("The window in front did not show its text box.");
        letPass(settled);
    }
    picture("1-ready");
    return {};
}

void Demo::press(const QByteArray& key, bool down) {
    // A display without a virtual keyboard gets the keys as from an on-screen one.
    if (!m_keyboard.isThere()) {
        m_keyboard.pressFromProgram(key, down);
    } else if (down) {
        m_keyboard.press(key);
    } else {
        m_keyboard.release(key);
    }
}

Demo::Step Demo::pickBox() {
    QString letters = m_options.letter;
    if (letters.isEmpty()) letters = letterOnBoxOf(m_app->pid());
    if (letters.isEmpty()) return failure("No letter would be on the program's box.");
    say(QStringLiteral("double-tapping Right Shift, then pressing %1").arg(letters));
    for (int tap = 0; tap < 2; ++tap) {
        press("RTSH", true);
        letPass(pressed);
        press("RTSH", false);
        letPass(gap);
    }
    if (!m_murlo->awaitLog(QStringLiteral("scan: "))) return failure("Murlo did not scan.");
    letPass(600);
    picture("2-letters");
    m_triggered = MurloProcess::now();
    for (const QChar letter : letters) {
        press(keyOf(letter), true);
        letPass(pressed);
        press(keyOf(letter), false);
        letPass(gap);
    }
    return {};
}

Demo::Step Demo::dictate() {
    m_murlo->forgetLog();
    const auto tapTwice = [this] {
        trigger(true);
        letPass(pressed);
        trigger(false);
        letPass(gap);
        const int second = MurloProcess::now();
        trigger(true);
        return second;
    };
    if (m_options.pick) {
        if (Step picked = pickBox(); !picked) return picked;
    } else {
        m_triggered = tapTwice();
    }
    if (!m_options.hold && !m_options.pick) {
        letPass(pressed);
        trigger(false);
    }
    const bool listening = m_murlo->awaitLog(QStringLiteral("dictation: listening"));
    m_listening = m_murlo->loggedAt(QStringLiteral("dictation: listening"));
    if (!listening || !m_listening) {
        trigger(false);
        return failure("Murlo did not begin to listen; its log is above.");
    }
    letPass(breath);
    const double seconds = Speaker::duration(m_recording);
    say(QStringLiteral("speaking for %1 s").arg(seconds, 0, 'f', 1));
    const bool playing = m_speaker.play(m_recording);
    letPass(static_cast<int>(850 * seconds)); // most of it is said, and its words are seen
    picture("2-listening");
    const bool played = playing && m_speaker.finish();
    letPass(breath);
    if (m_options.hold) {
        m_released = MurloProcess::now();
        trigger(false);
    } else {
        m_released = tapTwice();
        letPass(pressed);
        trigger(false);
    }
    m_recorded = (m_released - *m_listening) / 1000.0;
    if (!played) return failure("The speech could not be played.");
    return {};
}

QString Demo::landedNow() const {
    if (m_options.mode == QLatin1String("clipboardOnly"))
        return QGuiApplication::clipboard()->text().trimmed();
    return m_app->text().value_or(QString()).trimmed();
}

Demo::Step Demo::awaitText() {
    // The text may arrive in several pieces: it has landed when Murlo is done and it stands still.
    QString last;
    const auto somethingLanded = [&] {
        const QString now = landedNow();
        if (now != last) m_textSeen = MurloProcess::now();
        last = now;
        return !now.isEmpty() && m_murlo->loggedAt(QStringLiteral(" chars in ")) &&
               MurloProcess::now() - m_textSeen > 300;
    };
    const bool landed = waitFor(somethingLanded, 60000, 3);
    m_landed = last;
    picture("3-landed");
    if (m_other && !m_other->text().value_or(QString()).isEmpty())
        return failure("Words landed in the window in front as well.");
    // The history is written in the background.
    (void)waitFor([this] { return !m_murlo->history().isEmpty(); }, landed ? 3000 : 0);
    m_history = m_murlo->history();
    return {};
}

// The same length of audio, sent to the same engine without Murlo in between.
Demo::Step Demo::measureEngine() {
    QHttpMultiPart form(QHttpMultiPart::FormDataType);
    const auto add = [&form](const char* disposition, const QByteArray& value) {
        QHttpPart part;
        part.setHeader(QNetworkRequest::ContentDispositionHeader, QLatin1String(disposition));
        part.setBody(value);
        form.append(part);
    };
    add(R"(form-data; name="file"; filename="clip.wav")", Speaker::padded(m_recording, m_recorded));
    add(R"(form-data; name="temperature")", "0.0");
    add(R"(form-data; name="temperature_inc")", "0.2");
    add(R"(form-data; name="response_format")", "json");
    QNetworkAccessManager network;
    QNetworkRequest request(
        QUrl(QStringLiteral("http://127.0.0.1:%1/inference").arg(WhisperServer::usualPort)));
    request.setRawHeader("X-Whisper-Server-Secret", m_murlo->engineSecret());
    QElapsedTimer clock;
    clock.start();
    const std::unique_ptr<QNetworkReply> reply(network.post(request, &form));
    const bool answered = waitFor([&] { return reply->isFinished(); }, 60000, 1);
    if (answered && reply->error() == QNetworkReply::NoError)
        m_engine = static_cast<int>(clock.elapsed());
    return {};
}

Demo::Step Demo::report() const {
    if (!m_options.say.isEmpty()) print("said", m_options.say);
    print("landed", m_landed);
    print("history", m_history.value(0));
    const QString start =
        QStringLiteral("trigger to microphone %1 ms").arg(*m_listening - m_triggered);
    const QString end =
        m_landed.isEmpty() ? QStringLiteral("nothing landed")
                           : QStringLiteral("release to landed %1 ms").arg(m_textSeen - m_released);
    const QString engine = m_engine ? QStringLiteral("bare engine %1 ms").arg(*m_engine)
                                    : QStringLiteral("bare engine did not answer");
    print("times", QStringLiteral("%1, %2, %3 (%4 s recorded)")
                       .arg(start, end, engine)
                       .arg(m_recorded, 0, 'f', 1));
    if (m_landed.isEmpty()) return failure("Nothing landed.");
    if (m_landed != m_history.value(0))
        return failure("What landed is not what Murlo's history says.");
    return {};
}

void Demo::picture(const char* name) const {
    if (m_options.screenshots.isEmpty()) return;
    const QString file =
        QStringLiteral("%1/%2.png").arg(m_options.screenshots, QLatin1String(name));
    say(saveScreenshot(file) ? QStringLiteral("picture: ") + file
                             : QStringLiteral("no picture could be saved as ") + file);
}

} // namespace murlo
