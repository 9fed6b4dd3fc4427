// From a finished recording to the text in its box: what a session does after the microphone.

#include "MurloKit/Characters.h"
#include "account/PromptEnhancer.h"
#include "dictation/DictationSession.h"
#include "dictation/DictationTiming.h"
#include "dictation/delivery/Delivery.h"
#include "dictation/engine/EnginePace.h"
#include "dictation/engine/WhisperServer.h"
#include "dictation/recording/KeptRecording.h"
#include "look/Words.h"
#include "overlay/OverlayController.h"
#include "settings/Settings.h"
#include "support/Log.h"
#include "telemetry/ErrorReporter.h"

namespace murlo {

using namespace DictationTiming;

namespace {

DictationFailure describe(const TranscribeError& error) {
    DictationFailure failure{error.message(), {}};
    if (const auto* server = std::get_if<TranscribeError::Server>(&error.reason)) {
        failure.report = QStringLiteral("server error %1").arg(server->code);
    } else if (std::holds_alternative<TranscribeError::EmptyResponse>(error.reason)) {
        failure.report = QStringLiteral("empty response");
    } else {
        const auto& http = std::get<HttpError>(error.reason);
        failure.report = failureReport(http.domain, http.code);
    }
    return failure;
}

/// The engine is unavailable: this project's own error, with its one code.
DictationFailure engineUnavailable(const Message& message) {
    return {message, failureReport(QStringLiteral("Murlo.EngineUnavailable"), 1)};
}

} // namespace

void DictationController::waitForEngine(const SessionRef& session) {
    if (dropIfDiscarded(session)) return;
    const EngineState engine = m_with.server.state();
    switch (engine.state) {
    case EngineState::ready:
        transcribe(session);
        return;
    case EngineState::failed:
        failSession(session, engineUnavailable(engine.message));
        return;
    case EngineState::stopped:
    case EngineState::loading:
        break;
    }
    if (m_with.scheduler.uptime() >= session->waitsSince + enginePatience) {
        failSession(session, engineUnavailable(Word::engineTooSlow));
        return;
    }
    m_with.server.hurry();
    pollLater(session, [this](const SessionRef& waiting) { waitForEngine(waiting); });
}

void DictationController::pollLater(const SessionRef& session,
                                    std::function<void(const SessionRef&)> next) {
    m_waiting.insert(session);
    session->enginePoll = m_with.scheduler.after(
        enginePoll, [this, weak = std::weak_ptr(session), next = std::move(next)] {
            const auto waiting = weak.lock();
            if (!waiting) return;
            m_waiting.erase(waiting);
            next(waiting);
        });
}

void DictationController::transcribe(const SessionRef& session) {
    m_waiting.insert(session);
    session->engineRun = m_with.server.run();
    session->sentAt = m_with.scheduler.uptime();
    if (!session->engineRun.device.isProcessor()) {
        session->patience = m_with.scheduler.after(
            gpuPatience + session->clipDuration, [this, run = session->engineRun.number] {
                m_with.server.giveUp(run); // its clip goes to the engine's successor
            });
    }
    session->transcription =
        send(session->clip, [this, weak = std::weak_ptr(session)](const auto& result) {
            const auto answered = weak.lock();
            if (!answered) return;
            m_waiting.erase(answered);
            answered->patience.cancel();
            transcribed(answered, result);
        });
}

void DictationController::transcribed(const SessionRef& session, const TranscribeResult& result) {
    if (dropIfDiscarded(session)) return;
    if (!result) {
        const bool isBroken = std::holds_alternative<HttpError>(result.error().reason);
        if (isBroken && !session->resent) {
            session->waitsSince = m_with.scheduler.uptime();
            brokenOff(session, result.error());
        } else {
            failSession(session, describe(result.error()));
        }
        return;
    }
    session->clip.clear();
    timed(session);
    if (result->isEmpty()) {
        Log::write(QStringLiteral("dictation: empty transcript"));
        if (isCurrent(session)) becomeIdle();
        return;
    }
    session->text = *result;
    m_undelivered.insert(session);
    const double latency = m_with.scheduler.uptime() - session->finishedAt;
    session->latency = latency;
    // A session that is no longer the current one has no card to say "Enhancing…" on, and its user
    // waits for nothing: its transcript is inserted without rewriting.
    if (isCurrent(session) && m_with.enhancer.isOn()) {
        enhanceThenRoute(session, *result);
    } else {
        route(session, *result);
    }
}

void DictationController::timed(const SessionRef& session) {
    const double seconds = m_with.scheduler.uptime() - session->sentAt;
    const auto remark = m_with.pace.answered(session->engineRun, session->clipDuration, seconds);
    if (remark && m_untold.isEmpty()) m_untold = *remark;
}

/// No answer came. If that is because the engine has ended, its successor gets the clip.
void DictationController::brokenOff(const SessionRef& session, const TranscribeError& error) {
    if (dropIfDiscarded(session)) return;
    const bool hasEnded = m_with.server.run().number != session->engineRun.number ||
                          m_with.server.state().state != EngineState::ready;
    if (hasEnded) {
        Log::write(QStringLiteral("dictation: the engine ended with a clip, which is sent again"));
        session->resent = true;
        session->waitsSince = m_with.scheduler.uptime();
        waitForEngine(session);
    } else if (m_with.scheduler.uptime() >= session->waitsSince + endNoticed) {
        failSession(session, describe(error));
    } else {
        pollLater(session, [this, error](const SessionRef& waiting) { brokenOff(waiting, error); });
    }
}

bool DictationController::dropIfDiscarded(const SessionRef& session) {
    if (!session->discarded) return false;
    session->clip.clear();
    m_undelivered.erase(session);
    Log::write(QStringLiteral("dictation: discarded result arrived, dropped"));
    return true;
}

void DictationController::enhanceThenRoute(const SessionRef& session, const QString& text) {
    const auto targetApp = m_with.enhancer.targetBundleId(session->target);
    setState({DictationState::enhancing});
    show({DictationState::enhancing});
    m_with.enhancer.enhance(
        text, targetApp,
        m_lifetime.guard([this, session, generation = m_startGeneration](const QString& enhanced) {
            if (generation != m_startGeneration || session->discarded) {
                Log::write(QStringLiteral("dictation: enhanced text dropped, session moved on"));
                m_undelivered.erase(session);
                // Not given up, but overtaken by a further dictation.
                if (!session->discarded) m_with.delivery.keep(enhanced);
                return;
            }
            session->isRewritten = enhanced != session->text;
            session->text = enhanced;
            route(session, enhanced);
        }));
}

void DictationController::route(const SessionRef& session, const QString& text) {
    m_with.delivery.prepare(
        std::exchange(session->target, std::nullopt), [session] { return !session->discarded; },
        m_lifetime.guard([this, session, text] {
            if (!dropIfDiscarded(session)) completeDelivery(session, text);
        }));
}

void DictationController::completeDelivery(const SessionRef& session, const QString& text) {
    session->inserting = true;
    m_undelivered.erase(session); // from here on it is in the history
    m_with.delivery.insert(
        {text, session->isRewritten}, session->clipDuration, std::exchange(session->clipboard, {}),
        m_lifetime.guard([this, session, text](const std::optional<Message>& message) {
            delivered(session, text, message);
        }));
}

void DictationController::delivered(const SessionRef& session, const QString& text,
                                    const std::optional<Message>& message) {
    if (ownsCard(session)) {
        m_with.overlay.model().setWords(transcriptWords(wordsOf(text)));
        setState({DictationState::delivered, text});
        if (message) {
            show({DictationState::failed, {}, Word::copied + *message});
        } else {
            show({DictationState::delivered, text});
        }
        resetStateLater(deliveredLasts);
    } else if (message) {
        m_untold = Word::copied + *message;
    }
    Log::write(QStringLiteral("dictation: %1 chars in %2s")
                   .arg(Characters::count(text))
                   .arg(session->latency, 0, 'f', 2));
}

void DictationController::failSession(const SessionRef& session, const DictationFailure& failure) {
    if (dropIfDiscarded(session)) return;
    m_with.keptRecording.keep(std::exchange(session->clip, {}));
    if (ownsCard(session)) {
        fail(failure.message, failure.report);
        return;
    }
    // The user is already speaking the next one: its card and recording stay untouched.
    m_untold = failure.message;
    m_with.errors.report(QStringLiteral("transcribe_failed"), failure.report);
    Log::write(QStringLiteral("dictation: ") + Words::english(failure.message));
}

} // namespace murlo
