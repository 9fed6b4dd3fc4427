#include "platform/linux/x11/keys/KeyPositions.h"

#include <QHash>

namespace murlo {

namespace {

struct Entry {
    KeyPosition position;
    char us = 0;
};

/// The virtual key codes are the hardware numbering that `TriggerKey` uses.
const QHash<QByteArray, Entry>& table() {
    static const auto entries = [] {
        QHash<QByteArray, Entry> all;
        const auto key = [&all](const char* name, int code, char us = 0) {
            all.insert(name, Entry{{code, 0, 0, false}, us});
        };
        const auto modifier = [&all](const char* name, int code, quint32 side, quint32 family) {
            all.insert(name, Entry{{code, side, family, true}, 0});
        };
        // A row of neighbouring keys: names numbered from 1, with their US characters.
        const auto row = [&key](const QByteArray& prefix, const char* us,
                                std::initializer_list<int> codes) {
            int number = 1;
            for (const int code : codes) {
                const QByteArray name =
                    prefix + QByteArray::number(number++).rightJustified(2, '0');
                key(name.constData(), code, us ? *us++ : '\0');
            }
        };
        row("AE", "1234567890-=", {18, 19, 20, 21, 23, 22, 26, 28, 25, 29, 27, 24});
        row("AD", "qwertyuiop[]", {12, 13, 14, 15, 17, 16, 32, 34, 31, 35, 33, 30});
        row("AC", "asdfghjkl;'", {0, 1, 2, 3, 5, 4, 38, 40, 37, 41, 39});
        row("AB", "zxcvbnm,./", {6, 7, 8, 9, 11, 45, 46, 43, 47, 44});
        row("FK", nullptr, {122, 120, 99,  118, 96,  97,  98, 100, 101, 109,
                            103, 111, 105, 107, 113, 106, 64, 79,  80,  90});
        int digit = 0;
        for (const int code : {82, 83, 84, 85, 86, 87, 88, 89, 91, 92}) {
            const QByteArray name = "KP" + QByteArray::number(digit);
            key(name.constData(), code, static_cast<char>('0' + digit++));
        }
        key("KPDL", 65, '.');
        key("KPAD", 69, '+');
        key("KPSU", 78, '-');
        key("KPMU", 67, '*');
        key("KPDV", 75, '/');
        key("KPEQ", 81, '=');
        key("KPEN", 76);
        key("NMLK", 71);
        key("TLDE", 50, '`');
        key("BKSL", 42, '\\');
        key("AC12", 42, '\\'); // the same key on ISO keyboards, under its other name
        key("LSGT", 10, '<');
        key("SPCE", 49, ' ');
        key("RTRN", 36);
        key("TAB", 48);
        key("BKSP", 51);
        key("ESC", 53);
        key("INS", 114);
        key("DELE", 117);
        key("HOME", 115);
        key("END", 119);
        key("PGUP", 116);
        key("PGDN", 121);
        key("LEFT", 123);
        key("RGHT", 124);
        key("DOWN", 125);
        key("UP", 126);
        key("COMP", 110);
        key("MENU", 110);
        key("MUTE", 74);
        key("VOL-", 73);
        key("VOL+", 72);
        key("AE13", 93);  // yen
        key("AB11", 94);  // underscore of Japanese keyboards
        key("MUHE", 102); // eisu
        key("HKTG", 104); // kana
        modifier("LFSH", 56, 0x00000002, ModifierFlag::shift);
        modifier("RTSH", 60, 0x00000004, ModifierFlag::shift);
        modifier("LCTL", 59, 0x00000001, ModifierFlag::control);
        modifier("RCTL", 62, 0x00002000, ModifierFlag::control);
        modifier("LALT", 58, 0x00000020, ModifierFlag::option);
        modifier("RALT", 61, 0x00000040, ModifierFlag::option);
        modifier("LWIN", 55, 0x00000008, ModifierFlag::command);
        modifier("RWIN", 54, 0x00000010, ModifierFlag::command);
        modifier("LMTA", 55, 0x00000008, ModifierFlag::command);
        modifier("RMTA", 54, 0x00000010, ModifierFlag::command);
        modifier("CAPS", 57, 0, 0); // its modifier bit is the lock state, not the key state
        return all;
    }();
    return entries;
}

} // namespace

KeyPosition keyPosition(const QByteArray& name) {
    return table().value(name).position;
}

char usCharacter(const QByteArray& name) {
    return table().value(name).us;
}

char usCharacter(qint64 keyCode) {
    for (const Entry& entry : table()) {
        if (entry.us && entry.position.keyCode == keyCode) return entry.us;
    }
    return 0;
}

} // namespace murlo
