#include "tests/harness/DictationRig.h"
#include "look/Words.h"

namespace murlo {

namespace {

constexpr double frameRate = 48000;
const QString inference = QStringLiteral("/inference");

QString word(const DictationState& state) {
    static const QStringList names =
        QStringLiteral("idle listening transcribing enhancing delivered failed")
            .split(QLatin1Char(' '));
    const QString name = names.at(state.state);
    const QString said = state.text + Words::english(state.message);
    return said.isEmpty() ? name : name + QStringLiteral(": ") + said;
}

} // namespace

DictationRig::DictationRig()
    : history(paths, scheduler, *disk)
    , overlay(scheduler)
    , sounds(soundPlayer)
    , recorder(scheduler, audio, microphone,
               [this](const QString& kind, const QString& detail) { errors.report(kind, detail); })
    , devices(settings, paths, *disk)
    , server(WhisperServer::usualPort, scheduler, processes, http.maker(),
             {[this] { return modelPath.isEmpty() ? std::nullopt : std::optional(modelPath); },
              [] { return QStringLiteral("en"); },
              [this](const QString& model) { return devices.deviceFor(model); },
              [this](const EngineDevice& device) { devices.setAside(device); }})
    , pace(devices, scheduler)
    , targets(accessibility)
    , inserter({scheduler, accessibility, applications, pasteboard, keys, settings})
    , delivery(scheduler, settings, targets, inserter, history, usage, applications)
    , keptRecording(paths, *disk)
    , controller({scheduler, settings, recorder, overlay, server, pace, http, targets, delivery,
                  keptRecording, enhancer, errors, microphone, systemEvents, sounds})
    , tuner({scheduler, processes, server, devices, controller}) {
    systemEvents.start();
    modelPath = folder.filePath(QStringLiteral("model.bin"));
    putFile(modelPath, {});
    box = accessibility.add(QStringLiteral("AXTextArea"));
    accessibility.setFocused(box);
    keys.onChord = [this](const KeyChord&) {
        pasted.append(pasteboard.text().value_or(QString()));
        boxAtPaste.append(accessibility.focusedElement());
    };
    QObject::connect(&controller, &DictationController::stateChanged, &controller,
                     [this](const DictationState& state) { m_states.append(word(state)); });
    pasteboard.foreignCopy({{QStringLiteral("UTF8_STRING"), "the user's"}});
    scheduler.runPending(); // the first engine gets warm
    server.start();
}

QString DictationRig::card() {
    const DictationState& state = overlay.model().state();
    return state.text + Words::english(state.message);
}

void DictationRig::speak(double seconds) {
    constexpr double piece = 0.02;
    std::vector<float> tone(static_cast<std::size_t>(piece * frameRate));
    for (std::size_t i = 0; i < tone.size(); ++i) {
        tone[i] = 0.3F * std::sin(static_cast<float>(i) * 0.05F);
    }
    for (double spoken = 0; spoken < seconds - 1e-9; spoken += piece) {
        audio.speak(tone);
        scheduler.advance(piece);
    }
}

void DictationRig::engineGetsReady() {
    for (int tries = 0; tries < 20 && server.state().state != EngineState::ready; ++tries) {
        scheduler.advance(0.25);
        http.answer(404, {}, QStringLiteral("/"));
        scheduler.runPending();
    }
    scheduler.advance(0.1); // whoever polls has seen it
}

void DictationRig::engineAnswersOnly(const QString& text) {
    const QJsonObject answer{{QStringLiteral("text"), text}};
    http.answer(200, QJsonDocument(answer).toJson(), inference);
}

void DictationRig::engineAnswers(const QString& text) {
    engineAnswersOnly(text);
    scheduler.runPending();
}

void DictationRig::engineRefuses(int status, const QByteArray& body) {
    http.answer(status, body, inference);
    scheduler.runPending();
}

int DictationRig::clipsAtEngine() const {
    int clips = 0;
    for (const HttpRequest& request : http.waiting())
        clips += request.url.path() == inference ? 1 : 0;
    return clips;
}

QStringList DictationRig::takeStates() {
    return std::exchange(m_states, {});
}

bool DictationRig::logged(const QString& line) const {
    return log.lines().contains(line);
}

} // namespace murlo
