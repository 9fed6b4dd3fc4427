#include "dictation/delivery/PasteTable.h"

#include "settings/Settings.h"
#include "support/Log.h"

#include <QHash>

namespace murlo {

namespace {

struct Row {
    PasteWay way;
    bool isTerminal;
    const char* programs; ///< window classes, in lower case
};

// The chords were found by trial; see docs/programs.md.
constexpr Row table[] = {
    {PasteWay::controlShiftV, true,
     "st st-256color alacritty kitty org.wezfurlong.wezterm foot gnome-terminal-server "
     "gnome-terminal konsole xfce4-terminal mate-terminal lxterminal qterminal terminator tilix "
     "terminology guake tilda yakuake deepin-terminal cool-retro-term sakura roxterm "
     "com.mitchellh.ghostty kgx org.gnome.console ptyxis hyper tabby zutty contour termite"},
    // Ctrl+V pages down in these.
    {PasteWay::shiftInsert, false, "emacs"},
    // Old terminals paste the PRIMARY selection only.
    {PasteWay::typing, true, "xterm uxterm urxvt rxvt aterm eterm mlterm"},
    // Vim's Ctrl+V quotes the next key; remote desktop viewers forward keys and may not share this
    // computer's clipboard.
    {PasteWay::typing, false,
     "gvim vim nvim-qt neovide xedit virt-viewer remote-viewer virt-manager virtualboxvm qemu "
     "gnome-boxes"},
};

const QHash<QString, const Row*>& knownPrograms() {
    static const auto known = [] {
        QHash<QString, const Row*> all;
        for (const Row& row : table) {
            for (const QString& program : QString::fromLatin1(row.programs).split(QLatin1Char(' ')))
                all.insert(program, &row);
        }
        return all;
    }();
    return known;
}

const Row* knownRow(const QStringList& program) {
    for (const QString& name : program)
        if (const Row* row = knownPrograms().value(name)) return row;
    return nullptr;
}

} // namespace

PasteTable::PasteTable(const Settings& settings)
    : m_settings(settings) {
    const QHash<QString, QString> own = m_settings.words(SettingKey::pasteWays);
    for (auto row = own.begin(); row != own.end(); ++row) {
        if (!pasteWayFromRawValue(row.value()))
            Log::write(QStringLiteral("settings: pasteWays of %1 is none of ctrl+v, ctrl+shift+v, "
                                      "shift+insert, type")
                           .arg(row.key()));
    }
}

PasteWay PasteTable::wayOf(const QStringList& program, bool isTerminal) const {
    const QHash<QString, QString> own = m_settings.words(SettingKey::pasteWays);
    for (const QString& name : program) {
        for (auto row = own.begin(); row != own.end(); ++row) {
            if (row.key().toLower() != name) continue;
            if (const auto way = pasteWayFromRawValue(row.value())) return *way;
        }
    }
    if (const Row* row = knownRow(program)) return row->way;
    return isTerminal ? PasteWay::controlShiftV : PasteWay::controlV;
}

bool PasteTable::isTerminal(const QStringList& program) {
    const Row* row = knownRow(program);
    return row && row->isTerminal;
}

} // namespace murlo
