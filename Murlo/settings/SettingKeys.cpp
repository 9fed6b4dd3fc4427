#include "settings/SettingKeys.h"

#include <algorithm>

namespace murlo {

const std::vector<SettingRow>& settingsTable() {
    using namespace SettingKey;
    using enum SettingType;
    using enum SettingEffect;
    static const QVariant nothing;
    // clang-format off
    static const std::vector<SettingRow> table{
        // key                     type    fallback                        synchronised sensitive effect
        {triggerKey,               text,   QStringLiteral("leftShift"),    true,        false, triggers},
        {pickTargetKey,            text,   QStringLiteral("rightShift"),   true,        false, triggers},
        {insertMode,               text,   QStringLiteral("paste"),        true,        false},
        {language,                 text,   QStringLiteral("en"),           true,        false, engine},
        {playSounds,               truth,  true,                           true,        false},
        {doubleTapWindow,          number, 0.35,                           true,        false},
        {holdThreshold,            number, 0.4,                            true,        false},
        {maxRecordingSeconds,      number, 300.0,                          true,        false},
        {initialPrompt,            text,   QString(QLatin1String("")),     true,        true},
        {enhancePrompt,            truth,  false,                          true,        false},
        {modelPath,                text,   nothing,                        false,       false, engine},
        {engineDevice,             text,   nothing,                        false,       false, engine},
        {loginItemDecided,         truth,  nothing,                        false,       false},
        {accountEmail,             text,   nothing,                        false,       true},
        {accountServer,            text,   nothing,                        false,       false},
        {otherAccounts,            words,  nothing,                        false,       true},
        {signOutReason,            text,   nothing,                        false,       false},
        {installId,                text,   nothing,                        false,       false},
        {funnelOnboarded,          truth,  nothing,                        false,       false},
        {onboardingComplete,       truth,  nothing,                        false,       false},
        {onboardingPhase,          text,   nothing,                        false,       false},
        {hasQuitOnce,              truth,  nothing,                        false,       false},
        {accessibilityPromptShown, truth,  nothing,                        false,       false},
        {accessibilityDeclined,    truth,  nothing,                        false,       false},
        {seenMenuBarCallout,       truth,  nothing,                        false,       false},
        {dismissedUpdateVersion,   text,   nothing,                        false,       false},
        {lastReportedCrashFile,    text,   nothing,                        false,       false},
        {pasteWays,                words,  nothing,                        false,       false},
    };
    // clang-format on
    return table;
}

const SettingRow* settingRow(const QString& key) {
    const auto& table = settingsTable();
    const auto found = std::ranges::find_if(
        table, [&](const SettingRow& row) { return key == QLatin1String(row.key); });
    return found == table.end() ? nullptr : &*found;
}

} // namespace murlo
