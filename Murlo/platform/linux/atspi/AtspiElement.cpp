#include "AtspiElement.h"

#include "AtspiRoles.h"

namespace murlo {

atspi::Coordinates AtspiProgram::coordinates() const {
    return knowsWindowExtentsOnly ? atspi::Coordinates::window : atspi::Coordinates::screen;
}

QRectF AtspiProgram::onScreen(const QRect& extents, QPointF origin) const {
    return QRectF(extents).translated(knowsWindowExtentsOnly ? origin : QPointF());
}

bool AtspiElement::isSame(const AccessibleElement& other) const {
    const auto* const element = dynamic_cast<const AtspiElement*>(&other);
    return element && element->reference == reference;
}

std::shared_ptr<AtspiElement> elementFrom(const AtspiReference& object, const AtspiProgram& program,
                                          const AtspiAnswers& answers) {
    if (!answers.role) return nullptr;
    auto element = std::make_shared<AtspiElement>();
    element->reference = object;
    element->program = program;
    element->role = *answers.role;
    element->states = answers.states.value_or(AtspiStates());
    element->description = describe(answers);
    return element;
}

} // namespace murlo
