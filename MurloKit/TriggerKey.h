#pragma once

#include <QString>

#include <array>
#include <optional>

namespace murlo {

/// A physical modifier key that may serve as a trigger, in the order in which pickers list them.
enum class TriggerKey {
    rightCommand,
    leftCommand,
    rightOption,
    leftOption,
    rightShift,
    leftShift,
    rightControl,
    fn,
};

/// What a trigger asks for.
enum class HotkeyAction { dictate, pickTarget };

/// Bits of the modifier-flags word that name a family, whichever side is down.
namespace ModifierFlag {
inline constexpr quint32 capsLock = 0x00010000;
inline constexpr quint32 shift = 0x00020000;
inline constexpr quint32 control = 0x00040000;
inline constexpr quint32 option = 0x00080000;
inline constexpr quint32 command = 0x00100000;
inline constexpr quint32 secondaryFunction = 0x00800000;
} // namespace ModifierFlag

/// What is known of one trigger key.
struct TriggerKeyInfo {
    TriggerKey key;
    const char* rawValue;   ///< as stored in the settings
    qint64 keyCode;         ///< virtual key code of the physical key
    quint32 deviceFlag;     ///< side bit: set while this very key is down
    quint32 otherModifiers; ///< families that cancel a tap of this key; not its own
    const char16_t* label;  ///< for log lines, menus and settings
};

/// All keys, in the order of the enumeration.
[[nodiscard]] const std::array<TriggerKeyInfo, 8>& triggerKeys();
[[nodiscard]] const TriggerKeyInfo& info(TriggerKey key);
[[nodiscard]] QString rawValue(TriggerKey key);
[[nodiscard]] QString label(TriggerKey key);
/// The key stored under this raw value, or nothing for any other text.
[[nodiscard]] std::optional<TriggerKey> triggerKeyFromRawValue(const QString& raw);

} // namespace murlo
