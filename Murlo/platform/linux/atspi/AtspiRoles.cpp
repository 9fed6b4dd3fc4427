#include "AtspiRoles.h"

#include <QSet>

#include <algorithm>

namespace murlo {

namespace {

/// How an object of a role is judged.
enum class Kind {
    plain,     ///< never text to edit, whatever its states say
    text,      ///< a text box where its states say so, static text otherwise
    number,    ///< a text box with arrows; toolkits report it differently
    choice,    ///< a combo box, with or without a text box
    terminal,  ///< takes text always
    container, ///< plain, but web pages and word processors make some of them editable
    cell,      ///< the same, where a cell that could be edited but isn't says it is editable too
};

// Flags of a role.
constexpr unsigned box = 1;     ///< can be a text box without the state "editable"
constexpr unsigned barren = 2;  ///< no text box is searched for inside
constexpr unsigned control = 4; ///< a control that is operated, not filled in

struct Row {
    AtspiRole atspi;
    Kind kind;
    ElementRole role;
    unsigned traits = 0;
};

constexpr Row table[] = {
    {AtspiRole::text, Kind::text, ElementRole::textField},
    {AtspiRole::entry, Kind::text, ElementRole::textField},
    {AtspiRole::passwordText, Kind::text, ElementRole::textField},
    {AtspiRole::autocomplete, Kind::text, ElementRole::textField},
    {AtspiRole::editbar, Kind::text, ElementRole::textField},
    {AtspiRole::dateEditor, Kind::number, ElementRole::dateTimeArea, box},
    {AtspiRole::spinButton, Kind::number, ElementRole::incrementor, control | box},
    {AtspiRole::comboBox, Kind::choice, ElementRole::popUpButton, control | box},
    {AtspiRole::terminal, Kind::terminal, ElementRole::textArea, box},
    {AtspiRole::paragraph, Kind::container, ElementRole::group},
    {AtspiRole::section, Kind::container, ElementRole::group},
    {AtspiRole::article, Kind::container, ElementRole::group},
    {AtspiRole::blockQuote, Kind::container, ElementRole::group},
    {AtspiRole::comment, Kind::container, ElementRole::group},
    {AtspiRole::form, Kind::container, ElementRole::group},
    {AtspiRole::grouping, Kind::container, ElementRole::group},
    {AtspiRole::panel, Kind::container, ElementRole::group},
    {AtspiRole::heading, Kind::container, ElementRole::heading},
    {AtspiRole::tableCell, Kind::cell, ElementRole::cell},
    {AtspiRole::htmlContainer, Kind::container, ElementRole::webArea},
    {AtspiRole::documentFrame, Kind::container, ElementRole::webArea},
    {AtspiRole::documentWeb, Kind::container, ElementRole::webArea},
    {AtspiRole::documentEmail, Kind::container, ElementRole::webArea},
    {AtspiRole::documentText, Kind::container, ElementRole::group},
    {AtspiRole::documentSpreadsheet, Kind::plain, ElementRole::group},
    {AtspiRole::documentPresentation, Kind::plain, ElementRole::group},
    {AtspiRole::landmark, Kind::plain, ElementRole::group},
    {AtspiRole::filler, Kind::plain, ElementRole::group},
    {AtspiRole::layeredPane, Kind::plain, ElementRole::group},
    {AtspiRole::rootPane, Kind::plain, ElementRole::group},
    {AtspiRole::statusBar, Kind::plain, ElementRole::group},
    {AtspiRole::splitPane, Kind::plain, ElementRole::splitGroup},
    {AtspiRole::viewport, Kind::plain, ElementRole::scrollArea},
    {AtspiRole::label, Kind::plain, ElementRole::staticText, control},
    {AtspiRole::staticText, Kind::plain, ElementRole::staticText, barren},
    {AtspiRole::checkBox, Kind::plain, ElementRole::checkBox, barren | control},
    {AtspiRole::toggleButton, Kind::plain, ElementRole::checkBox, control},
    {AtspiRole::toggleSwitch, Kind::plain, ElementRole::checkBox},
    {AtspiRole::radioButton, Kind::plain, ElementRole::radioButton, barren | control},
    {AtspiRole::pushButton, Kind::plain, ElementRole::button, barren | control},
    {AtspiRole::pushButtonMenu, Kind::plain, ElementRole::button},
    {AtspiRole::link, Kind::plain, ElementRole::link, control},
    {AtspiRole::icon, Kind::plain, ElementRole::image, barren},
    {AtspiRole::image, Kind::plain, ElementRole::image, barren},
    {AtspiRole::slider, Kind::plain, ElementRole::slider, barren | control},
    {AtspiRole::dial, Kind::plain, ElementRole::slider},
    {AtspiRole::progressBar, Kind::plain, ElementRole::progressIndicator, barren},
    {AtspiRole::levelBar, Kind::plain, ElementRole::progressIndicator},
    {AtspiRole::scrollBar, Kind::plain, ElementRole::scrollBar, barren | control},
    {AtspiRole::scrollPane, Kind::plain, ElementRole::scrollArea},
    {AtspiRole::menuBar, Kind::plain, ElementRole::menuBar, barren | control},
    {AtspiRole::menu, Kind::plain, ElementRole::menu, barren | control},
    {AtspiRole::popupMenu, Kind::plain, ElementRole::menu},
    {AtspiRole::menuItem, Kind::plain, ElementRole::menuItem, control},
    {AtspiRole::checkMenuItem, Kind::plain, ElementRole::menuItem},
    {AtspiRole::radioMenuItem, Kind::plain, ElementRole::menuItem},
    {AtspiRole::tearoffMenuItem, Kind::plain, ElementRole::menuItem},
    {AtspiRole::toolBar, Kind::plain, ElementRole::toolbar},
    {AtspiRole::pageTab, Kind::plain, ElementRole::radioButton, control},
    {AtspiRole::pageTabList, Kind::plain, ElementRole::tabGroup, control},
    {AtspiRole::list, Kind::plain, ElementRole::list, control},
    {AtspiRole::listBox, Kind::plain, ElementRole::list, control},
    {AtspiRole::listItem, Kind::plain, ElementRole::row, control},
    {AtspiRole::treeItem, Kind::plain, ElementRole::row, control},
    {AtspiRole::tableRow, Kind::plain, ElementRole::row, control},
    {AtspiRole::table, Kind::plain, ElementRole::table},
    {AtspiRole::tree, Kind::plain, ElementRole::outline, control},
    {AtspiRole::treeTable, Kind::plain, ElementRole::outline},
    {AtspiRole::frame, Kind::plain, ElementRole::window},
    {AtspiRole::window, Kind::plain, ElementRole::window},
    {AtspiRole::dialog, Kind::plain, ElementRole::window},
    {AtspiRole::alert, Kind::plain, ElementRole::window},
    {AtspiRole::fileChooser, Kind::plain, ElementRole::window},
    {AtspiRole::application, Kind::plain, ElementRole::application},
};

/// A web page's field for a date or a time: it takes digits one part at a time, not words.
bool isDateField(const QHash<QString, QString>& attributes) {
    static const QSet<QString> types{QStringLiteral("date"), QStringLiteral("time"),
                                     QStringLiteral("datetime-local"), QStringLiteral("month"),
                                     QStringLiteral("week")};
    return types.contains(attributes.value(QStringLiteral("text-input-type")));
}

/// GTK reports its lists as tables. Typing searches in them, while in other tables it begins to
/// edit a cell. Tables that a program draws itself (spreadsheets) lack the attribute.
bool isListOfGtk(AtspiRole role, const QHash<QString, QString>& attributes) {
    return role == AtspiRole::table &&
           attributes.value(QStringLiteral("toolkit")).toLower() == QLatin1String("gtk");
}

bool isSearchField(const QHash<QString, QString>& attributes) {
    return attributes.value(QStringLiteral("xml-roles"))
               .split(QLatin1Char(' '))
               .contains(QLatin1String("searchbox")) ||
           attributes.value(QStringLiteral("text-input-type")) == QLatin1String("search");
}

bool has(AtspiRole role, unsigned trait) {
    const auto* const row = std::ranges::find(table, role, &Row::atspi);
    return row != std::end(table) && (row->traits & trait) != 0;
}

} // namespace

bool isControl(AtspiRole role) {
    return has(role, control);
}

bool isBarren(AtspiRole role) {
    return has(role, barren); // a web page's label may contain its text box
}

bool mayBeBox(AtspiRole role, const AtspiStates& states) {
    return states.has(AtspiState::editable) || has(role, box) || role == AtspiRole::documentWeb ||
           (role == AtspiRole::paragraph && states.has(AtspiState::focusable));
}

QList<AtspiRole> boxRoles() {
    QList<AtspiRole> roles;
    for (const Row& row : table)
        if ((row.traits & box) != 0) roles.append(row.atspi);
    return roles;
}

bool isTextHolder(AtspiRole role, const AtspiStates& states) {
    return role == AtspiRole::panel && states.has(AtspiState::defunct);
}

ElementFacts describe(const AtspiAnswers& object) {
    const AtspiRole role = object.role.value_or(AtspiRole::invalid);
    const AtspiStates states = object.states.value_or(AtspiStates());
    ElementFacts facts;
    facts.role = ElementRole::unknown;
    facts.title = object.name;
    facts.enabled = states.has(AtspiState::enabled) || states.has(AtspiState::sensitive);
    facts.focusable = states.has(AtspiState::focusable);
    const auto* const row = std::ranges::find(table, role, &Row::atspi);
    if (row == std::end(table)) return facts;

    facts.role = row->role;
    if (isDateField(object.attributes)) return facts;
    if (isListOfGtk(role, object.attributes)) facts.role = ElementRole::list;
    const auto isBox = [&facts](ElementRole as, ElementSubrole subrole = ElementSubrole::none) {
        facts.role = as;
        facts.subrole = subrole;
        facts.editable = true;
    };
    const bool writable = !states.has(AtspiState::readOnly);
    const bool editable = writable && states.has(AtspiState::editable);
    const bool hasEditableText = object.interfaces.contains(atspi::editableTextInterface);
    switch (row->kind) {
    case Kind::plain:
        break;
    case Kind::text:
        if (!editable)
            facts.role = ElementRole::staticText;
        else
            isBox(states.has(AtspiState::multiLine) ? ElementRole::textArea
                                                    : ElementRole::textField,
                  role == AtspiRole::passwordText    ? ElementSubrole::secureTextField
                  : isSearchField(object.attributes) ? ElementSubrole::searchField
                                                     : ElementSubrole::none);
        break;
    case Kind::number:
        if (editable || (writable && hasEditableText)) isBox(ElementRole::textField);
        break;
    case Kind::choice:
        if (editable || (writable && hasEditableText)) isBox(ElementRole::comboBox);
        break;
    case Kind::terminal:
        isBox(ElementRole::textArea, ElementSubrole::terminal);
        break;
    case Kind::container:
        if (editable && (hasEditableText || object.interfaces.contains(atspi::textInterface)))
            isBox(ElementRole::textArea);
        break;
    case Kind::cell:
        if (editable && hasEditableText) isBox(ElementRole::textArea);
        break;
    }
    return facts;
}

} // namespace murlo
