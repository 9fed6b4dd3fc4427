#include "MurloBackend/polish/TargetGroup.h"

#include <QHash>

namespace murlo::backend {

namespace {

/// Identifiers without the domain in front ("org.gnome."), in lower case.
const QHash<QString, TargetGroup>& groups() {
    static const QHash<QString, TargetGroup> table = [] {
        QHash<QString, TargetGroup> result;
        const auto add = [&result](TargetGroup group, const char* names) {
            for (const QString& name : QString::fromLatin1(names).split(QLatin1Char(' ')))
                result.insert(name, group);
        };
        add(TargetGroup::command,
            "alacritty console debian-xterm debian-uxterm deepin-terminal foot ghostty "
            "gnome-terminal-server guake kitty konsole lxterminal mate-terminal ptyxis qterminal "
            "rxvt st terminal terminator tilix urxvt uxterm wezterm xfce4-terminal xterm yakuake");
        add(TargetGroup::command,
            "builder code code-oss codium cursor eclipse emacs geany gvim jetbrains-clion "
            "jetbrains-idea jetbrains-pycharm jetbrains-webstorm kate kdevelop neovide nvim "
            "qtcreator sublime_text vim vscodium windsurf zed");
        add(TargetGroup::message,
            "dino discord element element-desktop fractal gajim hexchat konversation mattermost "
            "mattermost-desktop neochat nheko pidgin polari rocketchat-desktop signal "
            "signal-desktop slack teams teams-for-linux telegram telegram-desktop telegramdesktop "
            "whatsapp whatsapp-for-linux zapzap zoom zulip");
        add(TargetGroup::message,
            "balsa betterbird claws-mail evolution geary kmail kmail2 mailspring sylpheed "
            "thunderbird thunderbird-esr trojita");
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
