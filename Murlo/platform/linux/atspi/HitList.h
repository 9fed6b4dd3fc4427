#pragma once

#include "AtspiElement.h"
#include "platform/AccessibilityTree.h"

namespace murlo {

/// The objects of a window that may be text boxes: generates the calls for them, portion by
/// portion, and builds a tree from the replies.
class HitList {
public:
    /// Ignores duplicates. Ancestors must be added before their descendants.
    void add(const AtspiReference& hit);

    /// Number of calls per object.
    [[nodiscard]] static std::size_t questionsEach();
    /// The calls for the next `most` objects that were not asked yet; empty when there are none.
    [[nodiscard]] std::vector<QDBusMessage> questions(std::size_t most,
                                                      atspi::Coordinates coordinates);
    /// Reads the replies to the last `questions`; `replies` points to the first. `origin` is where
    /// `window` is on the screen, for toolkits that do not know it.
    void read(const QDBusMessage* replies, const std::shared_ptr<AtspiElement>& window,
              QPointF origin);

    /// Number of calls per ancestor of a hit.
    [[nodiscard]] static std::size_t questionsEachAround();
    /// The calls for `most` more ancestors of the hits, nearest levels first; empty when all that
    /// could exclude a text box are known.
    [[nodiscard]] std::vector<QDBusMessage> questionsAround(std::size_t most);
    /// Reads the replies to the last `questionsAround`.
    void readAround(const std::vector<QDBusMessage>& replies);

    /// Moves out the tree of nodes: a hit whose parent is a hit becomes its child; hits inside an
    /// object that cannot contain text boxes are left out.
    [[nodiscard]] std::vector<AccessibleNode> takeNodes();

private:
    struct Hit {
        AtspiReference object;
        AtspiReference parent;
        std::optional<AccessibleNode> node;
    };
    /// An ancestor of hits.
    struct Outer {
        AtspiReference parent;
        bool barren = false;
        int distance = 0; ///< levels above the nearest hit
    };

    [[nodiscard]] bool isInTextHolder(const Hit& hit) const;
    void goOutwards(const AtspiReference& object, int distance);
    [[nodiscard]] bool isHidden(const Hit& hit) const;

    std::vector<Hit> m_hits;
    QHash<AtspiReference, std::size_t> m_positions;
    std::size_t m_asked = 0;
    std::size_t m_read = 0;
    QHash<AtspiReference, Outer> m_around;
    std::vector<AtspiReference> m_outwards; ///< of `m_around`, in the order of the questions
    std::size_t m_outwardsAsked = 0;
    std::size_t m_outwardsRead = 0;
};

} // namespace murlo
