#pragma once

#include <QVariant>

#include <vector>

namespace murlo {

/// Names of everything kept in the settings store.
namespace SettingKey {
inline constexpr const char* triggerKey = "triggerKey";
inline constexpr const char* pickTargetKey = "pickTargetKey";
inline constexpr const char* insertMode = "insertMode";
inline constexpr const char* language = "language";
inline constexpr const char* playSounds = "playSounds";
inline constexpr const char* doubleTapWindow = "doubleTapWindow";
inline constexpr const char* holdThreshold = "holdThreshold";
inline constexpr const char* maxRecordingSeconds = "maxRecordingSeconds";
inline constexpr const char* initialPrompt = "initialPrompt";
inline constexpr const char* enhancePrompt = "enhancePrompt";

inline constexpr const char* modelPath = "modelPath";
inline constexpr const char* engineDevice = "engineDevice"; ///< `EngineDevice::key`
inline constexpr const char* loginItemDecided = "loginItemDecided";
inline constexpr const char* accountEmail = "accountEmail";
inline constexpr const char* accountServer = "accountServer"; ///< the backend that it belongs to
inline constexpr const char* otherAccounts = "otherAccounts"; ///< e-mail by other backend address
inline constexpr const char* signOutReason = "signOutReason";
inline constexpr const char* installId = "installId";
inline constexpr const char* funnelAckedPrefix = "funnelAcked-"; ///< followed by a stage's name
inline constexpr const char* funnelOnboarded = "funnelOnboarded";
inline constexpr const char* onboardingComplete = "onboardingComplete";
inline constexpr const char* onboardingPhase = "onboardingPhase";
inline constexpr const char* hasQuitOnce = "hasQuitOnce";
inline constexpr const char* accessibilityPromptShown = "accessibilityPromptShown";
/// The user does without the accessibility of other programs.
inline constexpr const char* accessibilityDeclined = "accessibilityDeclined";
inline constexpr const char* seenMenuBarCallout = "seenMenuBarCallout";
inline constexpr const char* dismissedUpdateVersion = "dismissedUpdateVersion";
inline constexpr const char* lastReportedCrashFile = "lastReportedCrashFile";
inline constexpr const char* pasteWays = "pasteWays"; ///< by window class; see `PasteWay`
} // namespace SettingKey

/// `words`: texts by name.
enum class SettingType { text, truth, number, words };

/// Who takes up a new value at once; everybody else reads it when it is needed.
enum class SettingEffect { none, triggers, engine };

/// One row of the settings table.
struct SettingRow {
    const char* key;
    SettingType type;
    QVariant fallback; ///< what a reader gets while nothing is stored; invalid for "nothing"
    bool synchronised; ///< travels with the account
    bool sensitive;    ///< personal: never in the log, never in a report
    SettingEffect effect = SettingEffect::none;
};

/// Every setting, in the order above.
[[nodiscard]] const std::vector<SettingRow>& settingsTable();
/// The row of a key, or null.
[[nodiscard]] const SettingRow* settingRow(const QString& key);

} // namespace murlo
