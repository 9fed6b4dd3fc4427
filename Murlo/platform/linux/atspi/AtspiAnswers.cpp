#include "AtspiAnswers.h"

namespace murlo {

namespace {

QDBusMessage callFor(AtspiQuestion question, const AtspiReference& object,
                     atspi::Coordinates coordinates) {
    switch (question) {
    case AtspiQuestion::role:
        return atspi::getRole(object);
    case AtspiQuestion::states:
        return atspi::getState(object);
    case AtspiQuestion::interfaces:
        return atspi::getInterfaces(object);
    case AtspiQuestion::attributes:
        return atspi::getAttributes(object);
    case AtspiQuestion::parent:
        return atspi::getParent(object);
    case AtspiQuestion::name:
        return atspi::getName(object);
    case AtspiQuestion::childCount:
        return atspi::getChildCount(object);
    case AtspiQuestion::extents:
        return atspi::getExtents(object, coordinates);
    }
    Q_UNREACHABLE();
}

void read(AtspiAnswers& answers, AtspiQuestion question, const QDBusMessage& reply) {
    switch (question) {
    case AtspiQuestion::role:
        answers.role = atspi::roleOf(reply);
        break;
    case AtspiQuestion::states:
        answers.states = atspi::statesOf(reply);
        break;
    case AtspiQuestion::interfaces:
        answers.interfaces = atspi::stringsOf(reply);
        break;
    case AtspiQuestion::attributes:
        answers.attributes = atspi::attributesOf(reply);
        break;
    case AtspiQuestion::parent:
        answers.parent = atspi::referencePropertyOf(reply);
        break;
    case AtspiQuestion::name:
        answers.name = atspi::stringPropertyOf(reply);
        break;
    case AtspiQuestion::childCount:
        answers.childCount = atspi::numberPropertyOf(reply).value_or(0);
        break;
    case AtspiQuestion::extents:
        answers.extents = atspi::extentsOf(reply);
        break;
    }
}

} // namespace

void addCalls(std::vector<QDBusMessage>& calls, const AtspiReference& object,
              AtspiQuestions questions, atspi::Coordinates coordinates) {
    for (const AtspiQuestion question : questions)
        calls.push_back(callFor(question, object, coordinates));
}

AtspiAnswers answersOf(const QDBusMessage* replies, AtspiQuestions questions) {
    AtspiAnswers answers;
    for (const AtspiQuestion question : questions) read(answers, question, *replies++);
    return answers;
}

} // namespace murlo
