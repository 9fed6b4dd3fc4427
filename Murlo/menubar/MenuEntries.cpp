#include "menubar/MenuEntries.h"

#include "MurloKit/Characters.h"
#include "look/Words.h"

namespace murlo {

namespace {

constexpr int titleCharacters = 48;

const MenuEntry separator;

QList<MenuEntry> recentEntries(const QStringList& history) {
    QList<MenuEntry> entries;
    for (qsizetype i = 0; i < history.size(); ++i) {
        entries.append({historyTitle(history[i]),
                        MenuCommand::copyHistory,
                        static_cast<int>(i),
                        true,
                        {},
                        {}});
    }
    return entries;
}

} // namespace

QString dictationTitle(DictationState::Case state, TriggerKey trigger) {
    switch (state) {
    case DictationState::listening:
    case DictationState::transcribing:
    case DictationState::enhancing:
        return Words::shown(Word::stopDictation);
    case DictationState::idle:
    case DictationState::delivered:
    case DictationState::failed:
        break;
    }
    return Words::shown({Word::startDictation, {Words::shown(Words::nameOf(trigger))}});
}

QString engineTitle(const EngineState& state) {
    switch (state.state) {
    case EngineState::loading:
        return Words::shown(Word::engineLoading);
    case EngineState::ready:
        return Words::shown(Word::engineReady);
    case EngineState::failed:
        return Words::shown({Word::engineFailed, {Words::shown(state.message)}});
    case EngineState::stopped:
        break;
    }
    return Words::shown(Word::engineStopped);
}

QString historyTitle(const QString& text) {
    QString line = text;
    line.replace(QLatin1String("\r\n"), QLatin1String(" "));
    for (const QChar lineBreak : {QChar(u'\n'), QChar(u'\r'), QChar(u'\v'), QChar(u'\f'),
                                  QChar(u'\x85'), QChar(u'\u2028'), QChar(u'\u2029')})
        line.replace(lineBreak, QLatin1Char(' '));
    if (Characters::count(line) <= titleCharacters) return line;
    return Characters::first(line, titleCharacters) + QChar(u'…');
}

QList<MenuEntry> menuEntries(const MenuInput& input) {
    const auto entry = [](const QString& title, MenuCommand command, const QString& shortcut = {}) {
        return MenuEntry{title, command, -1, true, shortcut, {}};
    };
    QList<MenuEntry> menu;
    menu << entry(dictationTitle(input.dictation, input.trigger), MenuCommand::toggleDictation)
         << separator << entry(engineTitle(input.engine), MenuCommand::restartEngine);
    if (input.fasterModel)
        menu << entry(Words::shown({Word::takeFasterModel, {*input.fasterModel}}),
                      MenuCommand::takeFasterModel);
    if (!input.history.isEmpty()) {
        menu << separator << MenuEntry{Words::shown(Word::recent),  MenuCommand::none, -1, true, {},
                                       recentEntries(input.history)};
    }
    menu << separator;
    if (input.setupTitle) menu << entry(*input.setupTitle, MenuCommand::openSetup);
    menu << entry(Words::shown(Word::openMurlo), MenuCommand::openSettings,
                  QStringLiteral("Ctrl+,"));
    if (input.hasSelfTest) menu << entry(Words::shown(Word::runSelfTest), MenuCommand::runSelfTest);
    if (input.logWanted) menu << entry(Words::shown(Word::openLog), MenuCommand::openLog);
    menu << separator;
    if (input.update)
        menu << entry(Words::shown({Word::updateTo, {*input.update}}), MenuCommand::openUpdate);
    MenuEntry version =
        entry(Words::shown({Word::murloVersion,
                            {input.version.isEmpty() ? QStringLiteral("dev") : input.version}}),
              MenuCommand::showVersion);
    version.enabled = false;
    menu << version
         << entry(Words::shown(Word::quitMurlo), MenuCommand::quit, QStringLiteral("Ctrl+Q"));
    return menu;
}

} // namespace murlo
