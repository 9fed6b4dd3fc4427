#pragma once

#include <QString>

namespace murlo {

/// What the dictation tells its user, kept to the character.
namespace DictationText {

inline QString microphoneOff() {
    return QStringLiteral(
        "Microphone access is off. Turn it on in System Settings, under Privacy & Security.");
}
inline QString engineTooSlow() {
    return QStringLiteral(
        "The speech engine took too long to start. Try Restart in Settings, under "
        "Speech.");
}
/// Goes before the inserter's message.
inline QString copiedPrefix() {
    return QStringLiteral("Copied to clipboard. ");
}

} // namespace DictationText
} // namespace murlo
