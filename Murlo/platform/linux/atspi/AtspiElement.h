#pragma once

#include "AtspiAnswers.h"
#include "platform/Accessibility.h"

#include <QRectF>

namespace murlo {

/// The properties that all objects of a program share.
struct AtspiProgram {
    qint64 pid = 0;
    /// The toolkit does not know where its windows are: its extents are relative to the window's
    /// top left corner.
    bool knowsWindowExtentsOnly = false;

    /// The coordinate system in which to ask for extents.
    [[nodiscard]] atspi::Coordinates coordinates() const;
    /// The screen position of an object that reported `extents`, in a window whose top left corner
    /// is at `origin`.
    [[nodiscard]] QRectF onScreen(const QRect& extents, QPointF origin) const;
};

/// One object of another program with what was read of it.
class AtspiElement : public AccessibleElement {
public:
    [[nodiscard]] bool isSame(const AccessibleElement& other) const override;
    [[nodiscard]] qint64 pid() const override { return program.pid; }
    [[nodiscard]] ElementFacts facts() const override { return description; }
    [[nodiscard]] ElementRef parent() const override { return around; }
    [[nodiscard]] ElementRef window() const override { return topmost; }

    AtspiReference reference;
    AtspiProgram program;
    AtspiRole role = AtspiRole::invalid;
    AtspiStates states;
    ElementFacts description;
    std::shared_ptr<const AtspiElement> around;
    /// The topmost object above this one; it may be filled in shortly after the element is known.
    std::shared_ptr<const AtspiElement> topmost;
};

/// Makes an element from an object's answers; null when they lack the role.
[[nodiscard]] std::shared_ptr<AtspiElement>
elementFrom(const AtspiReference& object, const AtspiProgram& program, const AtspiAnswers& answers);

} // namespace murlo
