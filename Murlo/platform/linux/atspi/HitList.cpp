#include "HitList.h"

#include <algorithm>

namespace murlo {

namespace {

// Positions of the replies for one hit.
enum HitReply {
    roleReply,
    stateReply,
    interfacesReply,
    attributesReply,
    parentReply,
    childCountReply,
    extentsReply,
    repliesPerHit
};

const AtspiElement& elementOf(const AccessibleNode& node) {
    return static_cast<const AtspiElement&>(*node.element);
}

/// The text of a word processor is one box for the user, but only its paragraphs can be focused.
void joinParagraphs(AccessibleNode& node) {
    const AtspiElement& element = elementOf(node);
    if (element.role != AtspiRole::documentText || !element.states.has(AtspiState::editable) ||
        node.focusSettable)
        return;
    auto paragraph = std::ranges::find_if(node.children, [](const AccessibleNode& child) {
        return elementOf(child).states.has(AtspiState::focused); // the caret is there
    });
    if (paragraph == node.children.end())
        paragraph = std::ranges::find(node.children, true, &AccessibleNode::focusSettable);
    if (paragraph == node.children.end()) return;
    node.element = paragraph->element;
    node.role = paragraph->role;
    node.enabled = paragraph->enabled;
    node.focusSettable = true;
    node.children.clear();
}

} // namespace

void HitList::add(const AtspiReference& hit) {
    if (m_positions.contains(hit)) return;
    m_positions.insert(hit, m_hits.size());
    m_hits.push_back(hit);
}

std::vector<QDBusMessage> HitList::questions(atspi::Coordinates coordinates) const {
    std::vector<QDBusMessage> calls;
    calls.reserve(m_hits.size() * repliesPerHit);
    for (const AtspiReference& hit : m_hits) {
        calls.insert(calls.end(),
                     {atspi::getRole(hit), atspi::getState(hit), atspi::getInterfaces(hit),
                      atspi::getAttributes(hit), atspi::getParent(hit), atspi::getChildCount(hit),
                      atspi::getExtents(hit, coordinates)});
    }
    return calls;
}

std::vector<AccessibleNode> HitList::nodes(const AtspiBus::Replies& replies,
                                           const std::shared_ptr<AtspiElement>& window,
                                           QPointF origin) const {
    std::vector<std::optional<AccessibleNode>> read(m_hits.size());
    std::vector<std::vector<std::size_t>> inside(m_hits.size());
    std::vector<std::size_t> outermost;
    for (std::size_t i = 0; i < m_hits.size(); ++i) {
        const auto reply = [&](HitReply which) -> const QDBusMessage& {
            return replies[i * repliesPerHit + which];
        };
        const auto role = atspi::roleOf(reply(roleReply));
        const auto extents = atspi::extentsOf(reply(extentsReply));
        if (!role || !extents || extents->isEmpty()) continue;
        auto element = std::make_shared<AtspiElement>();
        element->reference = m_hits[i];
        element->processId = window->processId;
        element->role = *role;
        element->states = atspi::statesOf(reply(stateReply)).value_or(AtspiStates());
        element->description =
            describe(*role, element->states, atspi::stringsOf(reply(interfacesReply)),
                     atspi::attributesOf(reply(attributesReply)));
        element->window = window;
        element->knowsWindowExtentsOnly = window->knowsWindowExtentsOnly;
        QRectF frame(*extents);
        if (element->knowsWindowExtentsOnly) {
            element->windowExtents = *extents;
            frame.translate(origin);
        } else {
            element->screenExtents = *extents;
        }
        read[i] = nodeOf(element);
        read[i]->frame = frame;
        read[i]->hasHiddenChildren =
            atspi::numberPropertyOf(reply(childCountReply)).value_or(0) > 0;
        const auto parent = m_positions.find(atspi::referencePropertyOf(reply(parentReply)));
        if (parent != m_positions.end() && *parent < i && read[*parent])
            inside[*parent].push_back(i);
        else
            outermost.push_back(i);
    }
    // What is inside comes later in the list, so from the end each node is complete when it moves.
    for (std::size_t i = m_hits.size(); i-- > 0;) {
        for (const std::size_t child : inside[i])
            read[i]->children.push_back(std::move(*read[child]));
        if (read[i]) joinParagraphs(*read[i]);
    }
    std::vector<AccessibleNode> nodes;
    nodes.reserve(outermost.size());
    for (const std::size_t i : outermost) nodes.push_back(std::move(*read[i]));
    return nodes;
}

AccessibleNode nodeOf(const std::shared_ptr<const AtspiElement>& element) {
    AccessibleNode node;
    node.element = element;
    node.role = element->description.role;
    node.subrole = element->description.subrole;
    node.enabled =
        element->states.has(AtspiState::enabled) || element->states.has(AtspiState::sensitive);
    node.focusSettable = element->states.has(AtspiState::focusable);
    node.valueSettable = element->description.editable;
    return node;
}

} // namespace murlo
