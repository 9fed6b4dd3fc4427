#include "setup/SelfTest.h"

#include "dictation/engine/WhisperServer.h"
#include "look/Words.h"
#include "settings/Settings.h"
#include "setup/Permissions.h"

namespace murlo {

namespace {

const QString emptyLine = QStringLiteral("\n\n");

QString marked(bool isGranted, Word name) {
    return (isGranted ? QStringLiteral("✅ ") : QStringLiteral("❌ ")) + Words::shown(name);
}

Message whyNotReady(const EngineState& state) {
    switch (state.state) {
    case EngineState::stopped:
        return Word::engineIsStopped;
    case EngineState::loading:
        return Word::engineStillLoading;
    default:
        return state.message;
    }
}

Alert alert(Word message, const QString& details) {
    return {Words::shown(message), details, Words::shown(Word::ok), {}};
}

} // namespace

QString SelfTest::permissionReport(const Permissions& permissions) {
    const QStringList lines{marked(permissions.microphoneGranted(), Word::microphone),
                            marked(permissions.inputMonitoringGranted(), Word::tapsNeedKeys),
                            marked(permissions.accessibilityGranted(), Word::pastingNeedsAccess)};
    return lines.join(QLatin1Char('\n'));
}

Alert SelfTest::outcome(const TranscribeResult& result, double seconds, qsizetype bytes,
                        const Permissions& permissions) {
    constexpr int kilobyte = 1024;
    constexpr int decimals = 2;
    if (!result) return alert(Word::transcriptionFailed, Words::shown(result.error().message()));
    if (result->isEmpty())
        return alert(Word::heardNothing,
                     Words::shown({Word::heardNothingMeans, {QString::number(bytes / kilobyte)}}));
    const QStringList parts{
        Words::shown({Word::heard, {*result}}),
        Words::shown({Word::transcribedIn, {QString::number(seconds, 'f', decimals)}}),
        permissionReport(permissions)};
    return alert(Word::everythingWorks, parts.join(emptyLine));
}

void SelfTest::run() {
    if (m_isRunning) return;
    m_isRunning = true;
    m_with.showAlert(
        {Words::shown(Word::selfTest),
         permissionReport(m_with.permissions) + emptyLine + Words::shown(Word::selfTestMeans),
         Words::shown(Word::start), Words::shown(Word::cancel)},
        m_lifetime.guard([this](bool begins) {
            if (begins)
                start();
            else
                m_isRunning = false;
        }));
}

void SelfTest::start() {
    const EngineState engine = m_with.server.state();
    if (engine.state != EngineState::ready) {
        end(Word::engineNotReady, whyNotReady(engine));
        return;
    }
    m_recorder = m_with.makeRecorder();
    m_recorder->start([this](const AudioRecorder::StartResult& result) {
        if (result) {
            m_recording = m_with.scheduler.after(recordingSeconds, [this] { recorded(); });
            return;
        }
        end(Word::microphoneFailed, result.error().message);
    });
}

void SelfTest::recorded() {
    const auto wav = m_recorder->stop();
    if (!wav) {
        end(Word::noAudio, Word::noAudioMeans);
        return;
    }
    const auto answered = [this, began = m_with.scheduler.uptime(),
                           bytes = wav->size()](const TranscribeResult& result) {
        end(outcome(result, m_with.scheduler.uptime() - began, bytes, m_with.permissions));
    };
    const auto stored = [this](const char* key) {
        return m_with.settings.text(key).value_or(QString());
    };
    const Transcriber transcriber(m_with.http, m_with.server.inferenceURL(),
                                  m_with.server.credentials());
    m_request = transcriber.transcribe(*wav, stored(SettingKey::language),
                                       stored(SettingKey::initialPrompt), answered);
}

void SelfTest::end(Word message, const Message& details) {
    end(alert(message, Words::shown(details)));
}

void SelfTest::end(const Alert& alert) {
    m_isRunning = false;
    // Whoever calls may be one of these.
    m_with.scheduler.nextTurn([recorder = std::shared_ptr<AudioRecorder>(std::move(m_recorder)),
                               request = std::shared_ptr<HttpTask>(std::move(m_request))] {});
    m_with.showAlert(alert, [](bool) {});
}

} // namespace murlo
