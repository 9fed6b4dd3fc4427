#include "tools/demo/Demo.h"

#include "dictation/engine/WhisperServer.h"
#include "hints/InputScanner.h"
#include "platform/Platform.h"
#include "tests/harness/desktop/Waiting.h"
#include "tests/harness/desktop/Windows.h"
#include "tools/demo/Recording.h"

#include <QClipboard>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHttpMultiPart>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPixmap>
#include <QScreen>
#include <QTcpSocket>

#include <cstdio>

namespace murlo {

namespace {

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

/// The label that a scan of this desktop gives to the largest box of a process or of one that it
/// started; empty when it finds none.
QString letterOnBoxOf(qint64 pid) {
    const Platform platform = loadPlatform();
    InputScanner scanner(
        *platform.accessibilityTree, *platform.applications, *platform.scheduler,
        [&platform] { return platform.surfaces->screens(); }, QCoreApplication::applicationPid());
    if (!waitFor([&] { return platform.accessibility->isTrusted(); })) return {};
    std::optional<QList<InputTarget>> found;
    scanner.scan([&found](const QList<InputTarget>& targets) { found = targets; });
    (void)waitFor([&found] { return found.has_value(); });
    QString label;
    double largest = 0;
    for (const InputTarget& target : found.value_or(QList<InputTarget>())) {
        const double area = target.frame.width() * target.frame.height();
        if (area <= largest || !descendsFrom(target.pid, pid)) continue;
        largest = area;
        label = target.hint;
    }
    return label;
}

/// The secret that an engine demands, as its environment has it; empty without one.
QByteArray secretOf(qint64 engine) {
    QFile environment(QStringLiteral("/proc/%1/environ").arg(engine));
    if (!environment.open(QIODevice::ReadOnly)) return {};
    const QByteArray name = QByteArrayLiteral("WHISPER_SERVER_SECRET=");
    for (const QByteArray& variable : environment.readAll().split('\0'))
        if (variable.startsWith(name)) return variable.mid(name.size());
    return {};
}

} // namespace

Demo::Demo(const DemoOptions& options)
    : m_options(options)
    , m_desk(options.murlo, options.model) {}

Demo::~Demo() {
    m_desk.murlo.quit();
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
    if (!onVirtualDesktop()) {
        m_desk.murlo.setEnvironment(QStringLiteral("XDG_RUNTIME_DIR"),
                                    m_folder.filePath(QStringLiteral("runtime")));
        m_desk.murlo.setEnvironment(QStringLiteral("PULSE_SERVER"),
                                    qEnvironmentVariable("PULSE_SERVER"));
    }
    if (Step started = m_options.enhance ? signIn() : startMurlo(); !started) return started;
    say(QStringLiteral("opening %1").arg(m_options.appName));
    m_app = std::make_unique<TargetApp>(m_options.app);
    if (!m_app->start()) return failure("The other program did not show its text box.");
    if (m_options.pick) {
        m_other = std::make_unique<TargetApp>(TargetApp::Kind::gtkEntry);
        // In front, but not over the box that is to be picked.
        if (!m_other->start() || !m_other->moveTo({0, 0}))
            return failure("The window in front did not show its text box.");
    }
    picture("1-ready");
    return {};
}

Demo::Step Demo::startMurlo() {
    say(QStringLiteral(
            "starting Murlo in a home of its own, with the model %1 and the local account "
            "demo@example.com")
            .arg(QFileInfo(m_options.model).fileName()));
    if (!m_desk.startMurlo({{QStringLiteral("insertMode"), m_options.mode}}))
        return failure("Murlo did not get ready; its log is above.");
    return {};
}

Demo::Step Demo::signIn() {
    if (!onVirtualDesktop())
        return failure("--enhance needs a virtual desktop, for a backend of its own.");
    say(QStringLiteral("starting Murlo in a home of its own, with the model %1 and no account")
            .arg(QFileInfo(m_options.model).fileName()));
    const QJsonObject settings{{QStringLiteral("insertMode"), m_options.mode},
                               {QStringLiteral("enhancePrompt"), true}};
    m_browser.prepare();
    if (!m_desk.startMurloSignedOut(settings))
        return failure("Murlo did not get ready; its log is above.");
    say(QStringLiteral("signing in with a browser"));
    const auto seen = [this](const char* name) {
        picture(QByteArray("0-sign-in-").append(name).constData());
    };
    if (!m_browser.signIn(seen)) {
        picture("0-sign-in-failed");
        return failure("The sign-in did not come to its end; Murlo's log is above.");
    }
    letPass(600);
    picture("0-signed-in");
    m_browser.closeBrowser();
    return {};
}

Demo::Step Demo::pickBox() {
    QString letters = m_options.letter;
    if (letters.isEmpty()) letters = letterOnBoxOf(m_app->pid());
    if (letters.isEmpty()) return failure("No letter would be on the program's box.");
    say(QStringLiteral("double-tapping Right Shift, then pressing %1").arg(letters));
    if (!m_desk.showLetters()) return failure("Murlo did not scan.");
    letPass(600);
    picture("2-letters");
    m_triggered = MurloProcess::now();
    m_desk.type(letters);
    return {};
}

Demo::Step Demo::dictate() {
    if (m_options.pick) {
        if (Step picked = pickBox(); !picked) return picked;
    }
    const QString words = QStringLiteral("dictation: listening");
    if (m_options.pick ? m_desk.murlo.awaitLog(words) : m_desk.begin(m_options.hold))
        m_listening = m_desk.murlo.loggedAt(words);
    if (!m_options.pick) m_triggered = m_desk.tappedAt();
    if (!m_listening) {
        m_desk.press(Desk::dictateKey, false);
        return failure("Murlo did not begin to listen; its log is above.");
    }
    const double seconds = Recording::duration(m_recording);
    say(QStringLiteral("speaking for %1 s").arg(seconds, 0, 'f', 1));
    const bool playing = m_desk.startPlaying(m_recording);
    letPass(static_cast<int>(850 * seconds)); // most of it is said, and its words are seen
    picture("2-listening");
    const bool played = playing && m_desk.finishPlaying();
    m_released = MurloProcess::now();
    m_desk.end(m_options.hold);
    if (!m_options.hold) m_released = m_desk.tappedAt();
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
        return !now.isEmpty() && m_desk.murlo.loggedAt(QStringLiteral(" chars in ")) &&
               MurloProcess::now() - m_textSeen > 300;
    };
    const bool landed = waitFor(somethingLanded, 60000, 3);
    m_landed = last;
    picture("3-landed");
    if (m_other && !m_other->text().value_or(QString()).isEmpty())
        return failure("Words landed in the window in front as well.");
    // The history is written in the background.
    (void)waitFor([this] { return !m_desk.murlo.history().isEmpty(); }, landed ? 3000 : 0);
    m_history = m_desk.murlo.history();
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
    add(R"(form-data; name="file"; filename="clip.wav")",
        Recording::padded(m_recording, m_recorded));
    add(R"(form-data; name="temperature")", "0.0");
    add(R"(form-data; name="temperature_inc")", "0.2");
    add(R"(form-data; name="response_format")", "json");
    QNetworkAccessManager network;
    QNetworkRequest request(
        QUrl(QStringLiteral("http://127.0.0.1:%1/inference").arg(WhisperServer::usualPort)));
    request.setRawHeader("X-Whisper-Server-Secret", secretOf(m_desk.murlo.enginePid()));
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
    if (m_options.enhance && !m_desk.murlo.loggedAt(QStringLiteral(" → ")))
        return failure("Nothing was rewritten.");
    if (m_landed != m_history.value(0))
        return failure("What landed is not what Murlo's history says.");
    return {};
}

void Demo::picture(const char* name) const {
    if (m_options.screenshots.isEmpty()) return;
    const QString file =
        QStringLiteral("%1/%2.png").arg(m_options.screenshots, QLatin1String(name));
    say(QGuiApplication::primaryScreen()->grabWindow(0).save(file, "PNG")
            ? QStringLiteral("picture: ") + file
            : QStringLiteral("no picture could be saved as ") + file);
}

} // namespace murlo
