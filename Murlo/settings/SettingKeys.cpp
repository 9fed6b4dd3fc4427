#include "settings/SettingKeys.h"

namespace murlo {

const std::vector<SettingRow>& settingsTable() {
    using namespace SettingKey;
    using enum SettingType;
    static const QVariant nothing;
    // clang-format off
    static const std::vector<SettingRow> table{
        // key                     type    fallback                        synchronised sensitive
        {triggerKey,               text,   QStringLiteral("leftShift"),    true,        false},
        {pickTargetKey,            text,   QStringLiteral("rightShift"),   true,        false},
        {insertMode,               text,   QStringLiteral("paste"),        true,        false},
        {language,                 text,   QStringLiteral("en"),           true,        false},
        {playSounds,               truth,  true,                           true,        false},
        {doubleTapWindow,          number, 0.35,                           true,        false},
        {holdThreshold,            number, 0.4,                            true,        false},
        {maxRecordingSeconds,      number, 300.0,                          true,        false},
        {initialPrompt,            text,   QString(QLatin1String("")),     true,        true},
        {enhancePrompt,            truth,  false,                          true,        false},
        {modelPath,                text,   nothing,                        false,       false},
        {loginItemDecided,         truth,  nothing,                        false,       false},
        {accountEmail,             text,   nothing,                        false,       true},
        {signOutReason,            text,   nothing,                        false,       false},
        {installId,                text,   nothing,                        false,       false},
        {funnelOnboarded,          truth,  nothing,                        false,       false},
        {onboardingComplete,       truth,  nothing,                        false,       false},
        {onboardingPhase,          text,   nothing,                        false,       false},
        {hasQuitOnce,              truth,  nothing,                        false,       false},
        {accessibilityPromptShown, truth,  nothing,                        false,       false},
        {seenMenuBarCallout,       truth,  nothing,                        false,       false},
        {dismissedUpdateVersion,   text,   nothing,                        false,       false},
        {lastReportedCrashFile,    text,   nothing,                        false,       false},
        {pasteWays,                words,  nothing,                        false,       false},
    };
    // clang-format on
    return table;
}

} // namespace murlo
