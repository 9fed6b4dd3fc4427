#pragma once

#include "AtspiElement.h"
#include "platform/AccessibilityTree.h"

namespace murlo {

/// The objects of a window that may be text boxes: what to ask of them, portion by portion, and
/// the tree that their answers make.
class HitList {
public:
    /// Each object once; those above others come first.
    void add(const AtspiReference& hit);

    /// How many questions one object is asked.
    [[nodiscard]] static std::size_t questionsEach();
    /// What to ask of the next `most` objects that nothing was asked of; empty when there are none.
    [[nodiscard]] std::vector<QDBusMessage> questions(std::size_t most,
                                                      atspi::Coordinates coordinates);
    /// Reads the replies to the last `questions`, the first at `replies`. `origin` is where
    /// `window` is on the screen, for programs that do not know.
    void read(const QDBusMessage* replies, const std::shared_ptr<AtspiElement>& window,
              QPointF origin);

    /// How many questions an object around others is asked.
    [[nodiscard]] static std::size_t questionsEachAround();
    /// What to ask of `most` more objects that are around those read, of each level the nearest
    /// first; empty when all are known that may hide a text box.
    [[nodiscard]] std::vector<QDBusMessage> questionsAround(std::size_t most);
    /// Reads the replies to the last `questionsAround`.
    void readAround(const std::vector<QDBusMessage>& replies);

    /// The nodes of what was read: a hit whose parent is one, too, is inside of it; one inside of
    /// what has no text boxes is left out. They are moved out of here.
    [[nodiscard]] std::vector<AccessibleNode> takeNodes();

private:
    struct Hit {
        AtspiReference object;
        AtspiReference parent;
        std::optional<AccessibleNode> node;
    };
    /// An object around hits.
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
