#include "HitList.h"

#include "AtspiRoles.h"
#include "Budgets.h"

#include <algorithm>
#include <array>

namespace murlo {

namespace {

constexpr std::array asked{AtspiQuestion::role,       AtspiQuestion::states,
                           AtspiQuestion::interfaces, AtspiQuestion::attributes,
                           AtspiQuestion::parent,     AtspiQuestion::childCount,
                           AtspiQuestion::extents};
constexpr std::array askedAround{AtspiQuestion::role, AtspiQuestion::parent};

const AtspiElement& elementOf(const AccessibleNode& node) {
    return static_cast<const AtspiElement&>(*node.element);
}

/// The text of a word processor is one box for the user, but only its paragraphs can be focused.
/// The same holds for the line in which a spreadsheet's cell is edited.
void joinParagraphs(AccessibleNode& node) {
    const AtspiElement& element = elementOf(node);
    const bool isDocument =
        element.role == AtspiRole::documentText && element.states.has(AtspiState::editable);
    if (node.facts.focusable || !(isDocument || isTextHolder(element.role, element.states))) return;
    auto paragraph = std::ranges::find_if(node.children, [](const AccessibleNode& child) {
        return elementOf(child).states.has(AtspiState::focused); // the caret is there
    });
    if (paragraph == node.children.end())
        paragraph = std::ranges::find_if(
            node.children, [](const AccessibleNode& child) { return child.facts.focusable; });
    if (paragraph == node.children.end()) return;
    node.element = paragraph->element;
    node.facts = paragraph->facts;
    node.facts.focusable = true;
    node.children.clear();
}

} // namespace

void HitList::add(const AtspiReference& hit) {
    if (m_positions.contains(hit)) return;
    m_positions.insert(hit, m_hits.size());
    m_hits.push_back({hit, {}, {}});
}

std::size_t HitList::questionsEach() {
    return asked.size();
}

std::vector<QDBusMessage> HitList::questions(std::size_t most, atspi::Coordinates coordinates) {
    std::vector<QDBusMessage> calls;
    for (; m_asked < m_hits.size() && most > 0; ++m_asked, --most)
        addCalls(calls, m_hits[m_asked].object, asked, coordinates);
    return calls;
}

void HitList::read(const QDBusMessage* replies, const std::shared_ptr<AtspiElement>& window,
                   QPointF origin) {
    for (; m_read < m_asked; ++m_read, replies += asked.size()) {
        Hit& hit = m_hits[m_read];
        const AtspiAnswers answers = answersOf(replies, asked);
        const auto element = elementFrom(hit.object, window->program, answers);
        const QRect extents = answers.extents.value_or(QRect());
        if (!element || extents.isEmpty()) continue;
        element->topmost = window;
        hit.parent = answers.parent;
        const bool hasEditableText = answers.interfaces.contains(atspi::editableTextInterface);
        if (hasEditableText && isInTextHolder(hit)) { // regardless of its states
            element->description.role = ElementRole::textArea;
            element->description.subrole = ElementSubrole::none;
            element->description.editable = true;
        }
        hit.node = AccessibleNode{element,
                                  element->description,
                                  window->program.onScreen(extents, origin),
                                  {},
                                  answers.childCount > 0};
        if (!m_around.contains(window->reference))
            m_around.insert(window->reference, {{}, false, budget::levelsAroundHit});
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
    if (object.isNull() || distance > budget::levelsAroundHit ||
        m_outwards.size() >= budget::objectsAroundHits || m_positions.contains(object) ||
        m_around.contains(object))
        return;
    m_around.insert(object, {{}, false, distance});
    m_outwards.push_back(object);
}

std::size_t HitList::questionsEachAround() {
    return askedAround.size();
}

std::vector<QDBusMessage> HitList::questionsAround(std::size_t most) {
    std::vector<QDBusMessage> calls;
    for (; m_outwardsAsked < m_outwards.size() && most > 0; ++m_outwardsAsked, --most)
        addCalls(calls, m_outwards[m_outwardsAsked], askedAround);
    return calls;
}

void HitList::readAround(const std::vector<QDBusMessage>& replies) {
    const QDBusMessage* reply = replies.data();
    for (; m_outwardsRead < m_outwardsAsked; ++m_outwardsRead, reply += askedAround.size()) {
        Outer& outer = m_around[m_outwards[m_outwardsRead]];
        const AtspiAnswers answers = answersOf(reply, askedAround);
        outer.barren = isBarren(answers.role.value_or(AtspiRole::invalid));
        if (outer.barren) continue;
        outer.parent = answers.parent;
        goOutwards(AtspiReference(outer.parent), outer.distance + 1);
    }
}

bool HitList::isHidden(const Hit& hit) const {
    AtspiReference outer = hit.parent;
    for (int distance = 0; distance < budget::levelsAroundHit; ++distance) {
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
    // Children come after their parents in the list, so going backwards each node is complete when
    // it is moved.
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

} // namespace murlo
