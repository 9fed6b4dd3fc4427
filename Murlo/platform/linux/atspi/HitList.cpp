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
// The same for one object around hits.
enum OuterReply { outerRoleReply, outerParentReply, repliesPerOuter };

// A text box inside a button or a picture is near to it; farther out there are only containers.
constexpr int farthestOut = 10; ///< levels
constexpr std::size_t mostAround = 600;

const AtspiElement& elementOf(const AccessibleNode& node) {
    return static_cast<const AtspiElement&>(*node.element);
}

/// The text of a word processor is one box for the user, but only its paragraphs can be focused.
/// So is the line in which a spreadsheet's cell is edited.
void joinParagraphs(AccessibleNode& node) {
    const AtspiElement& element = elementOf(node);
    const bool isDocument =
        element.role == AtspiRole::documentText && element.states.has(AtspiState::editable);
    if (node.focusSettable || !(isDocument || isTextHolder(element.role, element.states))) return;
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
    m_hits.push_back({hit, {}, {}});
}

std::vector<QDBusMessage> HitList::questions(std::size_t most, atspi::Coordinates coordinates) {
    std::vector<QDBusMessage> calls;
    for (; m_asked < m_hits.size() && most > 0; ++m_asked, --most) {
        const AtspiReference& hit = m_hits[m_asked].object;
        calls.insert(calls.end(),
                     {atspi::getRole(hit), atspi::getState(hit), atspi::getInterfaces(hit),
                      atspi::getAttributes(hit), atspi::getParent(hit), atspi::getChildCount(hit),
                      atspi::getExtents(hit, coordinates)});
    }
    return calls;
}

std::shared_ptr<AtspiElement>
HitList::elementFrom(const QDBusMessage* replies, const AtspiReference& object,
                     const std::shared_ptr<AtspiElement>& window) const {
    const auto role = atspi::roleOf(replies[roleReply]);
    const auto extents = atspi::extentsOf(replies[extentsReply]);
    if (!role || !extents || extents->isEmpty()) return nullptr;
    auto element = std::make_shared<AtspiElement>();
    element->reference = object;
    element->processId = window->processId;
    element->role = *role;
    element->states = atspi::statesOf(replies[stateReply]).value_or(AtspiStates());
    element->description =
        describe(*role, element->states, atspi::stringsOf(replies[interfacesReply]),
                 atspi::attributesOf(replies[attributesReply]));
    element->window = window;
    element->knowsWindowExtentsOnly = window->knowsWindowExtentsOnly;
    (window->knowsWindowExtentsOnly ? element->windowExtents : element->screenExtents) = *extents;
    return element;
}

void HitList::read(const QDBusMessage* replies, const std::shared_ptr<AtspiElement>& window,
                   QPointF origin) {
    for (; m_read < m_asked; ++m_read, replies += repliesPerHit) {
        Hit& hit = m_hits[m_read];
        const auto element = elementFrom(replies, hit.object, window);
        if (!element) continue;
        hit.parent = atspi::referencePropertyOf(replies[parentReply]);
        const bool takesText =
            atspi::stringsOf(replies[interfacesReply]).contains(atspi::editableTextInterface);
        if (takesText && isInTextHolder(hit)) // whatever its states say
            element->description = {QStringLiteral("AXTextArea"), QString(), true};
        hit.node = nodeOf(element);
        hit.node->frame = window->knowsWindowExtentsOnly
                              ? QRectF(element->windowExtents).translated(origin)
                              : QRectF(element->screenExtents);
        hit.node->hasHiddenChildren =
            atspi::numberPropertyOf(replies[childCountReply]).value_or(0) > 0;
        if (!m_around.contains(window->reference))
            m_around.insert(window->reference, {{}, false, farthestOut});
        goOutwards(hit.parent, 1);
    }
}

bool HitList::isInTextHolder(const Hit& hit) const {
    const auto parent = m_positions.find(hit.parent);
    if (parent == m_positions.end() || !m_hits[*parent].node) return false;
    const AtspiElement& element = elementOf(*m_hits[*parent].node);
    return isTextHolder(element.role, element.states);
}

void HitList::goOutwards(const AtspiReference& object, int distance) {
    if (object.isNull() || distance > farthestOut || m_outwards.size() >= mostAround ||
        m_positions.contains(object) || m_around.contains(object))
        return;
    m_around.insert(object, {{}, false, distance});
    m_outwards.push_back(object);
}

std::vector<QDBusMessage> HitList::questionsAround(std::size_t most) {
    std::vector<QDBusMessage> calls;
    for (; m_outwardsAsked < m_outwards.size() && most > 0; ++m_outwardsAsked, --most) {
        const AtspiReference& object = m_outwards[m_outwardsAsked];
        calls.insert(calls.end(), {atspi::getRole(object), atspi::getParent(object)});
    }
    return calls;
}

void HitList::readAround(const std::vector<QDBusMessage>& replies) {
    const QDBusMessage* reply = replies.data();
    for (; m_outwardsRead < m_outwardsAsked; ++m_outwardsRead, reply += repliesPerOuter) {
        Outer& outer = m_around[m_outwards[m_outwardsRead]];
        outer.barren = isBarren(atspi::roleOf(reply[outerRoleReply]).value_or(AtspiRole::invalid));
        if (outer.barren) continue;
        outer.parent = atspi::referencePropertyOf(reply[outerParentReply]);
        goOutwards(AtspiReference(outer.parent), outer.distance + 1);
    }
}

bool HitList::isHidden(const Hit& hit) const {
    AtspiReference outer = hit.parent;
    for (int distance = 0; distance < farthestOut; ++distance) {
        if (const auto around = m_around.find(outer); around != m_around.end()) {
            if (around->barren) return true;
            outer = around->parent;
        } else if (const auto above = m_positions.find(outer); above != m_positions.end()) {
            const auto& node = m_hits[*above].node;
            if (node && isBarren(elementOf(*node).role)) return true;
            outer = m_hits[*above].parent;
        } else {
            break;
        }
    }
    return false;
}

std::vector<AccessibleNode> HitList::takeNodes() {
    std::vector<std::vector<std::size_t>> inside(m_hits.size());
    std::vector<std::size_t> outermost;
    for (std::size_t i = 0; i < m_hits.size(); ++i) {
        if (!m_hits[i].node) continue;
        if (isHidden(m_hits[i])) {
            m_hits[i].node.reset();
            continue;
        }
        const auto parent = m_positions.find(m_hits[i].parent);
        if (parent != m_positions.end() && *parent < i && m_hits[*parent].node)
            inside[*parent].push_back(i);
        else
            outermost.push_back(i);
    }
    // What is inside comes later in the list, so from the end each node is complete when it moves.
    for (std::size_t i = m_hits.size(); i-- > 0;) {
        for (const std::size_t child : inside[i])
            m_hits[i].node->children.push_back(std::move(*m_hits[child].node));
        if (m_hits[i].node) joinParagraphs(*m_hits[i].node);
    }
    std::vector<AccessibleNode> nodes;
    nodes.reserve(outermost.size());
    for (const std::size_t i : outermost) nodes.push_back(std::move(*m_hits[i].node));
    return nodes;
}

bool isTextHolder(AtspiRole role, const AtspiStates& states) {
    return role == AtspiRole::panel && states.has(AtspiState::defunct);
}

bool isBarren(AtspiRole role) {
    switch (role) {
    case AtspiRole::menuBar:
    case AtspiRole::menu:
    case AtspiRole::pushButton:
    case AtspiRole::checkBox:
    case AtspiRole::radioButton:
    case AtspiRole::slider:
    case AtspiRole::scrollBar:
    case AtspiRole::progressBar:
    case AtspiRole::image:
    case AtspiRole::icon:
    case AtspiRole::staticText:
        return true;
    default:
        return false; // a label of a web page may hold the box that it names
    }
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
