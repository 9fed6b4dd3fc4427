#include "MurloKit/ElementFacts.h"

#include <array>

namespace murlo {

namespace {

/// In the order of `ElementRole`.
constexpr std::array roleNames{"",
                               "AXUnknown",
                               "AXApplication",
                               "AXButton",
                               "AXCell",
                               "AXCheckBox",
                               "AXComboBox",
                               "AXDateTimeArea",
                               "AXGroup",
                               "AXHeading",
                               "AXImage",
                               "AXIncrementor",
                               "AXLink",
                               "AXList",
                               "AXMenu",
                               "AXMenuBar",
                               "AXMenuItem",
                               "AXOutline",
                               "AXPopUpButton",
                               "AXProgressIndicator",
                               "AXRadioButton",
                               "AXRow",
                               "AXScrollArea",
                               "AXScrollBar",
                               "AXSlider",
                               "AXSplitGroup",
                               "AXStaticText",
                               "AXTabGroup",
                               "AXTable",
                               "AXTextArea",
                               "AXTextField",
                               "AXToolbar",
                               "AXWebArea",
                               "AXWindow"};
/// In the order of `ElementSubrole`.
constexpr std::array subroleNames{"", "AXSearchField", "AXSecureTextField", "AXTerminal"};
static_assert(roleNames.size() == static_cast<std::size_t>(ElementRole::window) + 1);
static_assert(subroleNames.size() == static_cast<std::size_t>(ElementSubrole::terminal) + 1);

} // namespace

bool isTextBox(const ElementFacts& facts) {
    const bool byRole = facts.role == ElementRole::textField ||
                        facts.role == ElementRole::textArea || facts.role == ElementRole::comboBox;
    return byRole || facts.subrole == ElementSubrole::searchField || facts.editable;
}

bool takesNoText(ElementRole role) {
    switch (role) {
    case ElementRole::button:
    case ElementRole::checkBox:
    case ElementRole::image:
    case ElementRole::link:
    case ElementRole::list:
    case ElementRole::menu:
    case ElementRole::menuBar:
    case ElementRole::menuItem:
    case ElementRole::outline:
    case ElementRole::popUpButton:
    case ElementRole::progressIndicator:
    case ElementRole::radioButton:
    case ElementRole::row:
    case ElementRole::scrollBar:
    case ElementRole::slider:
    case ElementRole::staticText:
    case ElementRole::tabGroup:
        return true;
    default:
        return false;
    }
}

QString nameOf(ElementRole role) {
    return QLatin1String(roleNames.at(static_cast<std::size_t>(role)));
}

QString nameOf(ElementSubrole subrole) {
    return QLatin1String(subroleNames.at(static_cast<std::size_t>(subrole)));
}

} // namespace murlo
