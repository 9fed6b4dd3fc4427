#pragma once

#include "platform/Accessibility.h"

#include <optional>

namespace murlo {

/// The element with keyboard focus and whether text can be put into it.
struct FocusVerdict {
    ElementRef element;
    bool editable = false;
};

/// Whether an element of this role or subrole (either may be absent) is a text box by its kind.
[[nodiscard]] bool isTextBoxLike(const std::optional<QString>& role,
                                 const std::optional<QString>& subrole);

/// Judges the focused element: editable if it, or one of its three nearest ancestors, is a text box
/// or has a value that can be set and is no check box; not editable only if it is a control that
/// certainly takes no text. Nothing for all that is vague, when no focused element is known, and
/// without access to other programs' accessibility.
[[nodiscard]] std::optional<FocusVerdict> focusVerdict(const Accessibility& accessibility);

} // namespace murlo
