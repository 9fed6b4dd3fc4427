#pragma once

#include "AtspiCalls.h"

#include <span>
#include <vector>

namespace murlo {

/// What an object can be asked for.
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

/// Questions that are sent to an object together.
using AtspiQuestions = std::span<const AtspiQuestion>;

/// What an object answered; what was not asked, or not answered in time, is absent or empty.
struct AtspiAnswers {
    std::optional<AtspiRole> role;
    std::optional<AtspiStates> states;
    QStringList interfaces;             ///< D-Bus interface names
    QHash<QString, QString> attributes; ///< as its toolkit reports them
    AtspiReference parent;
    QString name;
    int childCount = 0;
    std::optional<QRect> extents; ///< device pixels
};

/// Appends the calls that ask `questions` of an object; extents are asked in `coordinates`.
void addCalls(std::vector<QDBusMessage>& calls, const AtspiReference& object,
              AtspiQuestions questions,
              atspi::Coordinates coordinates = atspi::Coordinates::screen);
/// Reads the replies to these calls; `replies` points to the first.
[[nodiscard]] AtspiAnswers answersOf(const QDBusMessage* replies, AtspiQuestions questions);

} // namespace murlo
