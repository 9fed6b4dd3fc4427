#pragma once

#include "platform/Accessibility.h"

#include <optional>

namespace murlo {

/// The element with keyboard focus and whether text can be put into it.
struct FocusVerdict {
    ElementRef element;
    bool editable = false;
};

/// Judges the focused element: editable if it, or one of its three nearest ancestors, is a text
/// box; not editable only if it is a control that certainly takes no text. Empty for ambiguous
/// elements, when no focused element is known, and without access to accessibility.
[[nodiscard]] std::optional<FocusVerdict> focusVerdict(const Accessibility& accessibility);

} // namespace murlo
