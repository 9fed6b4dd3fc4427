#pragma once

#include "AtspiCalls.h"
#include "ElementReader.h"
#include "platform/AccessibilityTree.h"

namespace murlo {

/// The objects of a window that may be text boxes: what to ask of them, portion by portion, and
/// the tree that their answers make.
class HitList {
public:
    /// Each object once; those above others come first.
    void add(const AtspiReference& hit);
    [[nodiscard]] bool isEmpty() const { return m_hits.empty(); }

    /// What to ask of the next `most` objects that nothing was asked of; empty when there are none.
    [[nodiscard]] std::vector<QDBusMessage> questions(std::size_t most,
                                                      atspi::Coordinates coordinates);
    /// Reads the replies to the last `questions`, the first at `replies`. `origin` is where
    /// `window` is on the screen, for programs that do not know.
    void read(const QDBusMessage* replies, const std::shared_ptr<AtspiElement>& window,
              QPointF origin);

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

    [[nodiscard]] std::shared_ptr<AtspiElement>
    elementFrom(const QDBusMessage* replies, const AtspiReference& object,
                const std::shared_ptr<AtspiElement>& window) const;
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

/// A node for an element that has been read; its frame is not set.
[[nodiscard]] AccessibleNode nodeOf(const std::shared_ptr<const AtspiElement>& element);

/// Whether an object is the place of a text whose paragraphs are objects of their own, while nobody
/// writes there: LibreOffice calls it defunct then, and its paragraphs are as wide as their words.
[[nodiscard]] bool isTextHolder(AtspiRole role, const AtspiStates& states);

/// Whether nobody looks for text boxes inside objects of a role.
[[nodiscard]] bool isBarren(AtspiRole role);

} // namespace murlo
