#include "targets/FocusVerdict.h"

#include <algorithm>
#include <array>

namespace murlo {

bool isTextBoxLike(const std::optional<QString>& role, const std::optional<QString>& subrole) {
    static constexpr std::array editableRoles{
        QLatin1String("AXTextField"), QLatin1String("AXTextArea"), QLatin1String("AXComboBox")};
    const bool byRole = role && std::any_of(editableRoles.begin(), editableRoles.end(),
                                            [&](QLatin1String each) { return *role == each; });
    return byRole || subrole == QStringLiteral("AXSearchField");
}

namespace {

/// Whether an element of this role certainly takes no text. What a canvas, a pane, a document or a
/// table does with keys cannot be known from outside.
bool takesNoText(const QString& role) {
    static constexpr std::array roles{
        QLatin1String("AXButton"),    QLatin1String("AXCheckBox"),
        QLatin1String("AXImage"),     QLatin1String("AXLink"),
        QLatin1String("AXMenu"),      QLatin1String("AXMenuBar"),
        QLatin1String("AXMenuItem"),  QLatin1String("AXOutline"),
        QLatin1String("AXList"),      QLatin1String("AXPopUpButton"),
        QLatin1String("AXRow"),       QLatin1String("AXProgressIndicator"),
        QLatin1String("AXScrollBar"), QLatin1String("AXRadioButton"),
        QLatin1String("AXSlider"),    QLatin1String("AXStaticText"),
        QLatin1String("AXTabGroup"),
    };
    return std::ranges::any_of(roles, [&](QLatin1String each) { return role == each; });
}

} // namespace

std::optional<FocusVerdict> focusVerdict(const Accessibility& accessibility) {
    constexpr int elementsExamined = 4;
    if (!accessibility.isTrusted()) return std::nullopt; // what little is known may be wrong
    const ElementRef focused = accessibility.focusedElement();
    if (!focused) return std::nullopt;
    ElementRef current = focused;
    for (int i = 0; i < elementsExamined && current; ++i) {
        const auto role = accessibility.string(current, QStringLiteral("AXRole"));
        const auto subrole = accessibility.string(current, QStringLiteral("AXSubrole"));
        if (isTextBoxLike(role, subrole)) return FocusVerdict{focused, true};
        // A check box's value can be set too, but not to a text.
        if (accessibility.isSettable(current, QStringLiteral("AXValue")) &&
            role != QStringLiteral("AXCheckBox"))
            return FocusVerdict{focused, true};
        current = accessibility.element(current, QStringLiteral("AXParent"));
    }
    auto role = accessibility.string(focused, QStringLiteral("AXRole"));
    if (role == QStringLiteral("AXCell")) { // which is a row, in a list or a tree
        const ElementRef around = accessibility.element(focused, QStringLiteral("AXParent"));
        role = accessibility.string(around, QStringLiteral("AXRole"));
    }
    if (role && takesNoText(*role)) return FocusVerdict{focused, false};
    return std::nullopt;
}

} // namespace murlo
