#pragma once

#include "account/AccountManager.h"
#include "account/PromptEnhancer.h"
#include "backend/BackendConfig.h"
#include "backend/LoopbackGuard.h"
#include "backend/RefusedKeys.h"
#include "dictation/DictationController.h"
#include "dictation/EngineTuner.h"
#include "dictation/Sounds.h"
#include "dictation/delivery/Delivery.h"
#include "dictation/delivery/HistoryStore.h"
#include "dictation/delivery/TextInserter.h"
#include "dictation/engine/EngineDevices.h"
#include "dictation/engine/EnginePace.h"
#include "dictation/engine/WhisperServer.h"
#include "dictation/recording/AudioRecorder.h"
#include "dictation/recording/KeptRecording.h"
#include "hints/HintController.h"
#include "hints/HintOverlay.h"
#include "hints/InputScanner.h"
#include "hints/ProbeReport.h"
#include "menubar/MenuBarCallout.h"
#include "overlay/OverlayController.h"
#include "platform/Platform.h"
#include "settings/Settings.h"
#include "settings/SettingsModel.h"
#include "setup/ModelDownload.h"
#include "setup/Permissions.h"
#include "support/Paths.h"
#include "targets/InputTarget.h"
#include "telemetry/ErrorReporter.h"
#include "telemetry/UsageTracker.h"
#include "triggers/HotkeyMonitor.h"
#include "windows/AccountPresenter.h"
#include "windows/EnginePresenter.h"

namespace murlo {

/// One of each long-lived object, made in the order in which they need each other and destroyed in
/// the reverse order. It makes and hands over; it decides nothing.
struct CompositionRoot {
    /// `disk` is where all files of the user's are written, one after another: a slow disk holds up
    /// neither the microphone nor the engine. `enginePort` is the TCP port of the speech engine on
    /// 127.0.0.1; `servers` is where the backend and the identity provider are.
    CompositionRoot(Platform& on, const Paths& at, SerialQueue& disk, quint16 enginePort,
                    BackendConfig servers);

    Platform& platform;
    Paths paths;
    BackendConfig config;
    Settings settings;
    HistoryStore history;
    ErrorReporter errors;
    UsageTracker usage;
    SettingsModel settingsModel;
    RefusedKeys refusedKeys;
    KeychainStore keys;
    LoopbackGuard network;
    AccountClient client;
    BrowserSession browser;
    AccountManager account;
    AccountPresenter accountPresenter;
    Permissions permissions;
    HotkeyMonitor hotkeys;
    OverlayController overlay;
    Sounds sounds;
    AudioRecorder recorder;
    EngineDevices engineDevices;
    WhisperServer server;
    EnginePace pace;
    std::unique_ptr<HttpClient> http;
    InputTargets targets;
    TextInserter inserter;
    Delivery delivery;
    KeptRecording keptRecording;
    PromptEnhancer enhancer;
    DictationController controller;
    EngineTuner engineTuner;
    ModelDownload modelDownload;
    EnginePresenter enginePresenter;
    MenuBarCallout callout;
    InputScanner scanner;
    HintOverlay hintOverlay;
    HintController hints;
    ProbeReport probe;
};

} // namespace murlo
