#include "MurloBackend/polish/TargetGroup.h"

#include <QHash>

namespace murlo::backend {

namespace {

/// Identifiers without the domain in front ("org.gnome."), in lower case.
const QHash<QString, TargetGroup>& groups() {
    static const QHash<QString, TargetGroup> table = [] {
        QHash<QString, TargetGroup> result;
        for (const char* name : {"alacritty",
                                 "console",
                                 "konsole",
                                 "kitty",
                                 "foot",
                                 "ghostty",
                                 "guake",
                                 "ptyxis",
                                 "qterminal",
                                 "rxvt",
                                 "st",
                                 "terminal",
                                 "terminator",
                                 "tilix",
                                 "urxvt",
                                 "wezterm",
                                 "xterm",
                                 "xfce4-terminal",
                                 "gnome-terminal-server",
                                 "uxterm",
                                 "lxterminal",
                                 "mate-terminal",
                                 "deepin-terminal",
                                 "yakuake",
                                 "debian-xterm",
                                 "code",
                                 "code-oss",
                                 "codium",
                                 "vscodium",
                                 "cursor",
                                 "windsurf",
                                 "zed",
                                 "emacs",
                                 "gvim",
                                 "nvim",
                                 "neovide",
                                 "vim",
                                 "kate",
                                 "geany",
                                 "builder",
                                 "sublime_text",
                                 "jetbrains-idea",
                                 "jetbrains-pycharm",
                                 "jetbrains-clion",
                                 "jetbrains-webstorm",
                                 "qtcreator",
                                 "kdevelop",
                                 "eclipse"})
            result.insert(QLatin1String(name), TargetGroup::command);
        for (const char* name : {"slack",
                                 "discord",
                                 "element",
                                 "element-desktop",
                                 "fractal",
                                 "telegram",
                                 "telegramdesktop",
                                 "telegram-desktop",
                                 "signal",
                                 "signal-desktop",
                                 "teams",
                                 "teams-for-linux",
                                 "zoom",
                                 "mattermost-desktop",
                                 "mattermost",
                                 "rocketchat-desktop",
                                 "zulip",
                                 "dino",
                                 "gajim",
                                 "pidgin",
                                 "hexchat",
                                 "konversation",
                                 "polari",
                                 "thunderbird",
                                 "thunderbird-esr",
                                 "evolution",
                                 "geary",
                                 "kmail2",
                                 "kmail",
                                 "claws-mail",
                                 "mailspring",
                                 "betterbird",
                                 "trojita",
                                 "balsa",
                                 "whatsapp",
                                 "whatsapp-for-linux",
                                 "zapzap",
                                 "nheko",
                                 "neochat",
                                 "sylpheed"})
            result.insert(QLatin1String(name), TargetGroup::message);
        return result;
    }();
    return table;
}

} // namespace

TargetGroup targetGroupOf(const std::optional<QString>& targetApp) {
    if (!targetApp) return TargetGroup::other;
    QString name = targetApp->toLower();
    if (name.endsWith(QLatin1String(".desktop"))) name.chop(8);
    name = name.mid(name.lastIndexOf(QLatin1Char('.')) + 1);
    return groups().value(name, TargetGroup::other);
}

} // namespace murlo::backend
