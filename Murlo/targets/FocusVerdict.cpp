#include "targets/FocusVerdict.h"

namespace murlo {

std::optional<FocusVerdict> focusVerdict(const Accessibility& accessibility) {
    if (!accessibility.isTrusted()) return std::nullopt; // partial knowledge may be wrong
    const ElementRef focused = accessibility.focusedElement();
    if (!focused) return std::nullopt;
    if (takesText(focused)) return FocusVerdict{focused, true};
    ElementRole role = focused->facts().role;
    if (role == ElementRole::cell) { // which is a row, in a list or a tree
        const ElementRef around = focused->parent();
        role = around ? around->facts().role : ElementRole::none;
    }
    if (takesNoText(role)) return FocusVerdict{focused, false};
    return std::nullopt;
}

} // namespace murlo
