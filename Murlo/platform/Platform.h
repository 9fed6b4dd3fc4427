#pragma once

#include "platform/Accessibility.h"
#include "platform/AccessibilityTree.h"
#include "platform/Applications.h"
#include "platform/AudioEngine.h"
#include "platform/Desktop.h"
#include "platform/DiagnosticNotifications.h"
#include "platform/EventTap.h"
#include "platform/FileSystem.h"
#include "platform/HttpClient.h"
#include "platform/Interruptions.h"
#include "platform/KeySynthesizer.h"
#include "platform/LocalService.h"
#include "platform/LoginItem.h"
#include "platform/MicrophoneAuthorization.h"
#include "platform/Pasteboard.h"
#include "platform/Process.h"
#include "platform/Reachability.h"
#include "platform/Scheduler.h"
#include "platform/SecretStore.h"
#include "platform/SingleInstance.h"
#include "platform/SoundPlayer.h"
#include "platform/Surfaces.h"
#include "platform/SystemEvents.h"
#include "platform/UrlScheme.h"

#include <memory>

namespace murlo {

/// The whole contract with the operating system, one adapter per port. Members are destroyed in
/// reverse order; the scheduler outlives the rest.
struct Platform {
    std::unique_ptr<Scheduler> scheduler;
    std::unique_ptr<SingleInstance> singleInstance;
    std::unique_ptr<SystemEvents> systemEvents;
    std::unique_ptr<ProcessLauncher> processes;
    std::unique_ptr<FileSystem> files;
    /// A client per thread that needs one.
    MakeHttpClient makeHttpClient;
    /// For the main thread: what leaves this computer runs on a thread of its own, since looking up
    /// proxies and certificates blocks; completions come on the main thread as ever.
    std::unique_ptr<HttpClient> network;
    std::unique_ptr<Reachability> reachability;
    std::unique_ptr<LocalService> localService;
    std::unique_ptr<SecretStore> secrets;
    std::unique_ptr<UrlScheme> urlScheme;
    std::unique_ptr<MicrophoneAuthorization> microphoneAuthorization;
    std::unique_ptr<AudioInput> audioInput;
    std::unique_ptr<SoundPlayer> sounds;
    std::unique_ptr<LoginItem> loginItem;
    std::unique_ptr<Applications> applications;
    std::unique_ptr<Accessibility> accessibility;
    std::unique_ptr<AccessibilityTree> accessibilityTree;
    std::unique_ptr<EventTap> eventTap;
    std::unique_ptr<KeySynthesizer> keySynthesizer;
    std::unique_ptr<Pasteboard> pasteboard;
    std::unique_ptr<Desktop> desktop;
    std::unique_ptr<Surfaces> surfaces;
    std::unique_ptr<Interruptions> interruptions;
    std::unique_ptr<DiagnosticNotifications> diagnostics;
};

/// The adapters for the desktop session this process runs in. Call it on the main thread with the
/// Qt application created. For parts of the desktop that are missing, the adapters report failure
/// in their results; this call never fails.
[[nodiscard]] Platform loadPlatform();

} // namespace murlo
