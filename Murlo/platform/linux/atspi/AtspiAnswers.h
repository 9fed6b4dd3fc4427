#pragma once

#include "AtspiCalls.h"

#include <span>
#include <vector>

namespace murlo {

/// What there is to ask of an object.
enum class AtspiQuestion {
    role,
    states,
    interfaces,
    attributes,
    parent,
    name,
    childCount,
    extents,
};

/// Questions that are put to an object together.
using AtspiQuestions = std::span<const AtspiQuestion>;

/// What an object answered; what it was not asked, or did not say in time, is absent or empty.
struct AtspiAnswers {
    std::optional<AtspiRole> role;
    std::optional<AtspiStates> states;
    QStringList interfaces;             ///< D-Bus interface names
    QHash<QString, QString> attributes; ///< as its toolkit tells them
    AtspiReference parent;
    QString name;
    int childCount = 0;
    std::optional<QRect> extents; ///< device pixels
};

/// Appends the calls that ask `questions` of an object; extents are asked in `coordinates`.
void addCalls(std::vector<QDBusMessage>& calls, const AtspiReference& object,
              AtspiQuestions questions,
              atspi::Coordinates coordinates = atspi::Coordinates::screen);
/// Reads the replies to these calls, the first at `replies`.
[[nodiscard]] AtspiAnswers answersOf(const QDBusMessage* replies, AtspiQuestions questions);

} // namespace murlo
