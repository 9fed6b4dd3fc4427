#pragma once

#include <QString>

namespace murlo {

/// What an element of a user interface is; each desktop's own roles are mapped onto these.
enum class ElementRole {
    none, ///< it did not tell
    unknown,
    application,
    button,
    cell,
    checkBox,
    comboBox, ///< with a text to edit; one without is a `popUpButton`
    dateTimeArea,
    group,
    heading,
    image,
    incrementor,
    link,
    list,
    menu,
    menuBar,
    menuItem,
    outline,
    popUpButton,
    progressIndicator,
    radioButton,
    row,
    scrollArea,
    scrollBar,
    slider,
    splitGroup,
    staticText, ///< also a text view whose text cannot be changed
    tabGroup,
    table,
    textArea,
    textField,
    toolbar,
    webArea,
    window,
};

/// What sets an element apart from others of its role.
enum class ElementSubrole {
    none,
    searchField,
    secureTextField, ///< for passwords
    terminal,        ///< a `textArea`
};

/// What an element says of itself.
struct ElementFacts {
    ElementRole role = ElementRole::none;
    ElementSubrole subrole = ElementSubrole::none;
    QString title;
    bool enabled = true;
    bool focusable = false; ///< it takes the focus when asked to
    bool editable = false;  ///< the user can change its text now
};

/// Whether an element is a text box.
[[nodiscard]] bool isTextBox(const ElementFacts& facts);

/// Whether an element of this role certainly takes no text. What a canvas, a pane, a document or a
/// table does with keys cannot be known from outside.
[[nodiscard]] bool takesNoText(ElementRole role);

/// A role as reports name it: "AXTextField".
[[nodiscard]] QString nameOf(ElementRole role);
/// The same for a subrole; empty for none.
[[nodiscard]] QString nameOf(ElementSubrole subrole);

} // namespace murlo
