#include "MurloKit/TriggerKey.h"

namespace murlo {

namespace {

using namespace ModifierFlag;

constexpr std::array<TriggerKeyInfo, 8> theKeys{{
    {TriggerKey::rightCommand, "rightCommand", 54, 0x00000010, shift | control | option,
     u"Right ⌘"},
    {TriggerKey::leftCommand, "leftCommand", 55, 0x00000008, shift | control | option, u"Left ⌘"},
    {TriggerKey::rightOption, "rightOption", 61, 0x00000040, shift | control | command, u"Right ⌥"},
    {TriggerKey::leftOption, "leftOption", 58, 0x00000020, shift | control | command, u"Left ⌥"},
    {TriggerKey::rightShift, "rightShift", 60, 0x00000004, control | option | command, u"Right ⇧"},
    {TriggerKey::leftShift, "leftShift", 56, 0x00000002, control | option | command, u"Left ⇧"},
    {TriggerKey::rightControl, "rightControl", 62, 0x00002000, shift | option | command,
     u"Right ⌃"},
    {TriggerKey::fn, "fn", 63, secondaryFunction, shift | control | option | command, u"Fn / 🌐"},
}};

} // namespace

const std::array<TriggerKeyInfo, 8>& triggerKeys() {
    return theKeys;
}

const TriggerKeyInfo& info(TriggerKey key) {
    return theKeys.at(static_cast<std::size_t>(key));
}

QString rawValue(TriggerKey key) {
    return QString::fromLatin1(info(key).rawValue);
}

QString label(TriggerKey key) {
    return QString::fromUtf16(info(key).label);
}

std::optional<TriggerKey> triggerKeyFromRawValue(const QString& raw) {
    for (const TriggerKeyInfo& candidate : theKeys) {
        if (raw == QLatin1String(candidate.rawValue)) return candidate.key;
    }
    return std::nullopt;
}

} // namespace murlo
