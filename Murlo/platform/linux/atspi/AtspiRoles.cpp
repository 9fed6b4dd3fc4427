#include "AtspiRoles.h"

#include "AtspiCalls.h"

#include <QSet>

namespace murlo {

namespace {

/// How an object of a role is judged.
enum class Kind {
    plain,     ///< never text to edit, whatever its states say
    text,      ///< a text box where its states say so, static text otherwise
    number,    ///< a text box with arrows; toolkits differ in what they say of it
    choice,    ///< a combo box, with or without a text box
    terminal,  ///< takes text always
    container, ///< plain, but web pages and word processors make some of them editable
    cell,      ///< the same, where a cell that could be edited but isn't says it is editable too
};

struct Row {
    AtspiRole atspi;
    Kind kind;
    const char* name;
};

constexpr Row table[] = {
    {AtspiRole::text, Kind::text, "AXTextField"},
    {AtspiRole::entry, Kind::text, "AXTextField"},
    {AtspiRole::passwordText, Kind::text, "AXTextField"},
    {AtspiRole::autocomplete, Kind::text, "AXTextField"},
    {AtspiRole::editbar, Kind::text, "AXTextField"},
    {AtspiRole::dateEditor, Kind::number, "AXDateTimeArea"},
    {AtspiRole::spinButton, Kind::number, "AXIncrementor"},
    {AtspiRole::comboBox, Kind::choice, "AXPopUpButton"},
    {AtspiRole::terminal, Kind::terminal, "AXTextArea"},
    {AtspiRole::paragraph, Kind::container, "AXGroup"},
    {AtspiRole::section, Kind::container, "AXGroup"},
    {AtspiRole::article, Kind::container, "AXGroup"},
    {AtspiRole::blockQuote, Kind::container, "AXGroup"},
    {AtspiRole::comment, Kind::container, "AXGroup"},
    {AtspiRole::form, Kind::container, "AXGroup"},
    {AtspiRole::grouping, Kind::container, "AXGroup"},
    {AtspiRole::panel, Kind::container, "AXGroup"},
    {AtspiRole::heading, Kind::container, "AXHeading"},
    {AtspiRole::tableCell, Kind::cell, "AXCell"},
    {AtspiRole::htmlContainer, Kind::container, "AXWebArea"},
    {AtspiRole::documentFrame, Kind::container, "AXWebArea"},
    {AtspiRole::documentWeb, Kind::container, "AXWebArea"},
    {AtspiRole::documentEmail, Kind::container, "AXWebArea"},
    {AtspiRole::documentText, Kind::container, "AXGroup"},
    {AtspiRole::documentSpreadsheet, Kind::plain, "AXGroup"},
    {AtspiRole::documentPresentation, Kind::plain, "AXGroup"},
    {AtspiRole::landmark, Kind::plain, "AXGroup"},
    {AtspiRole::filler, Kind::plain, "AXGroup"},
    {AtspiRole::layeredPane, Kind::plain, "AXGroup"},
    {AtspiRole::rootPane, Kind::plain, "AXGroup"},
    {AtspiRole::statusBar, Kind::plain, "AXGroup"},
    {AtspiRole::splitPane, Kind::plain, "AXSplitGroup"},
    {AtspiRole::viewport, Kind::plain, "AXScrollArea"},
    {AtspiRole::label, Kind::plain, "AXStaticText"},
    {AtspiRole::staticText, Kind::plain, "AXStaticText"},
    {AtspiRole::checkBox, Kind::plain, "AXCheckBox"},
    {AtspiRole::toggleButton, Kind::plain, "AXCheckBox"},
    {AtspiRole::toggleSwitch, Kind::plain, "AXCheckBox"},
    {AtspiRole::radioButton, Kind::plain, "AXRadioButton"},
    {AtspiRole::pushButton, Kind::plain, "AXButton"},
    {AtspiRole::pushButtonMenu, Kind::plain, "AXButton"},
    {AtspiRole::link, Kind::plain, "AXLink"},
    {AtspiRole::icon, Kind::plain, "AXImage"},
    {AtspiRole::image, Kind::plain, "AXImage"},
    {AtspiRole::slider, Kind::plain, "AXSlider"},
    {AtspiRole::dial, Kind::plain, "AXSlider"},
    {AtspiRole::progressBar, Kind::plain, "AXProgressIndicator"},
    {AtspiRole::levelBar, Kind::plain, "AXProgressIndicator"},
    {AtspiRole::scrollBar, Kind::plain, "AXScrollBar"},
    {AtspiRole::scrollPane, Kind::plain, "AXScrollArea"},
    {AtspiRole::menuBar, Kind::plain, "AXMenuBar"},
    {AtspiRole::menu, Kind::plain, "AXMenu"},
    {AtspiRole::popupMenu, Kind::plain, "AXMenu"},
    {AtspiRole::menuItem, Kind::plain, "AXMenuItem"},
    {AtspiRole::checkMenuItem, Kind::plain, "AXMenuItem"},
    {AtspiRole::radioMenuItem, Kind::plain, "AXMenuItem"},
    {AtspiRole::tearoffMenuItem, Kind::plain, "AXMenuItem"},
    {AtspiRole::toolBar, Kind::plain, "AXToolbar"},
    {AtspiRole::pageTab, Kind::plain, "AXRadioButton"},
    {AtspiRole::pageTabList, Kind::plain, "AXTabGroup"},
    {AtspiRole::list, Kind::plain, "AXList"},
    {AtspiRole::listBox, Kind::plain, "AXList"},
    {AtspiRole::listItem, Kind::plain, "AXRow"},
    {AtspiRole::treeItem, Kind::plain, "AXRow"},
    {AtspiRole::tableRow, Kind::plain, "AXRow"},
    {AtspiRole::table, Kind::plain, "AXTable"},
    {AtspiRole::tree, Kind::plain, "AXOutline"},
    {AtspiRole::treeTable, Kind::plain, "AXOutline"},
    {AtspiRole::frame, Kind::plain, "AXWindow"},
    {AtspiRole::window, Kind::plain, "AXWindow"},
    {AtspiRole::dialog, Kind::plain, "AXWindow"},
    {AtspiRole::alert, Kind::plain, "AXWindow"},
    {AtspiRole::fileChooser, Kind::plain, "AXWindow"},
    {AtspiRole::application, Kind::plain, "AXApplication"},
};

/// A web page's field for a date or a time: it takes digits one part at a time, not words.
bool isDateField(const QHash<QString, QString>& attributes) {
    static const QSet<QString> types{QStringLiteral("date"), QStringLiteral("time"),
                                     QStringLiteral("datetime-local"), QStringLiteral("month"),
                                     QStringLiteral("week")};
    return types.contains(attributes.value(QStringLiteral("text-input-type")));
}

/// GTK calls its lists tables. A key searches in them, where in other tables it begins to edit a
/// cell. What a program draws itself (an office program's sheets) lacks the attribute.
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

} // namespace

bool isControl(AtspiRole role) {
    switch (role) {
    case AtspiRole::pageTab:
    case AtspiRole::pageTabList:
    case AtspiRole::pushButton:
    case AtspiRole::toggleButton:
    case AtspiRole::checkBox:
    case AtspiRole::radioButton:
    case AtspiRole::menu:
    case AtspiRole::menuBar:
    case AtspiRole::menuItem:
    case AtspiRole::slider:
    case AtspiRole::scrollBar:
    case AtspiRole::link:
    case AtspiRole::list:
    case AtspiRole::listItem:
    case AtspiRole::tree:
    case AtspiRole::listBox:
    case AtspiRole::treeItem:
    case AtspiRole::tableRow:
    case AtspiRole::comboBox:
    case AtspiRole::spinButton:
    case AtspiRole::label:
        return true;
    default:
        return false;
    }
}

AtspiDescription describe(AtspiRole role, const AtspiStates& states, const QStringList& interfaces,
                          const QHash<QString, QString>& attributes) {
    const auto* const row = std::find_if(std::begin(table), std::end(table),
                                         [role](const Row& r) { return r.atspi == role; });
    if (row == std::end(table)) return {QStringLiteral("AXUnknown"), QString(), false};

    const auto plain = QString::fromLatin1(row->name);
    if (isDateField(attributes)) return {plain, QString(), false};
    if (isListOfGtk(role, attributes)) return {QStringLiteral("AXList"), QString(), false};
    const bool writable = !states.has(AtspiState::readOnly);
    const bool editable = writable && states.has(AtspiState::editable);
    const bool hasEditableText = interfaces.contains(atspi::editableTextInterface);
    const auto textRole = states.has(AtspiState::multiLine) ? QStringLiteral("AXTextArea")
                                                            : QStringLiteral("AXTextField");
    switch (row->kind) {
    case Kind::plain:
        break;
    case Kind::text:
        if (!editable) return {QStringLiteral("AXStaticText"), QString(), false};
        if (role == AtspiRole::passwordText)
            return {textRole, QStringLiteral("AXSecureTextField"), true};
        return {textRole, isSearchField(attributes) ? QStringLiteral("AXSearchField") : QString(),
                true};
    case Kind::number:
        if (editable || (writable && hasEditableText))
            return {QStringLiteral("AXTextField"), QString(), true};
        break;
    case Kind::choice:
        if (editable || (writable && hasEditableText))
            return {QStringLiteral("AXComboBox"), QString(), true};
        break;
    case Kind::terminal:
        return {plain, QStringLiteral("AXTerminal"), true};
    case Kind::container:
        if (editable && (hasEditableText || interfaces.contains(atspi::textInterface)))
            return {QStringLiteral("AXTextArea"), QString(), true};
        break;
    case Kind::cell:
        if (editable && hasEditableText) return {QStringLiteral("AXTextArea"), QString(), true};
        break;
    }
    return {plain, QString(), false};
}

} // namespace murlo
