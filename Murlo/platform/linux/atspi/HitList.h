#pragma once

#include "AtspiCalls.h"
#include "ElementReader.h"
#include "platform/AccessibilityTree.h"

namespace murlo {

/// The objects of a window that may be text boxes: what to ask of them, and the tree that their
/// answers make.
class HitList {
public:
    /// Each object once; those above others come first.
    void add(const AtspiReference& hit);

    [[nodiscard]] std::vector<QDBusMessage> questions(atspi::Coordinates coordinates) const;
    /// The nodes from the replies to `questions`: a hit whose parent is one, too, is inside of it.
    /// `origin` is where `window` is on the screen, for programs that do not know.
    [[nodiscard]] std::vector<AccessibleNode> nodes(const AtspiBus::Replies& replies,
                                                    const std::shared_ptr<AtspiElement>& window,
                                                    QPointF origin) const;

private:
    std::vector<AtspiReference> m_hits;
    QHash<AtspiReference, std::size_t> m_positions;
};

/// A node for an element that has been read; its frame is not set.
[[nodiscard]] AccessibleNode nodeOf(const std::shared_ptr<const AtspiElement>& element);

} // namespace murlo
