// From the elements of an application's windows to labelled text boxes: pure functions.

#include "MurloKit/HintLabels.h"
#include "hints/InputScanner.h"

#include <QRegion>

#include <algorithm>

namespace murlo {

namespace {

constexpr double leastWidth = 40; ///< of a box, in points
constexpr double leastHeight = 12;
constexpr double sameRow = 24; ///< top edges this close are one row

bool isLargeEnough(const QSizeF& size) {
    return size.width() >= leastWidth && size.height() >= leastHeight;
}

/// The windows in front of a process's window at `frame`; its title distinguishes several at one
/// position.
QRegion coverOf(const QRectF& frame, const QString& title, qint64 pid,
                const QList<WindowInfo>& shown) {
    const auto own = std::ranges::max_element(shown, {}, [&](const WindowInfo& window) {
        const double common = window.pid == pid ? overlap(window.bounds, frame) : 0;
        return std::pair(common >= 0.5 && window.title == title, common);
    });
    if (own == shown.end() || own->pid != pid || overlap(own->bounds, frame) < 0.5) return {};
    QRegion cover;
    for (auto window = shown.begin(); window != own; ++window)
        cover += window->bounds.toAlignedRect();
    return cover;
}

/// One walk through one window.
class Walk {
public:
    Walk(BoxesFound& found, const QList<ScreenInfo>& screens, const InputTarget& common,
         QRegion cover = {}, const QRectF& window = {})
        : m_found(found)
        , m_screens(screens)
        , m_common(common)
        , m_cover(std::move(cover))
        , m_window(window) {}

    bool offer(const AccessibleNode& node) {
        const ElementFacts& facts = node.facts;
        if (!isTextBox(facts) || !facts.enabled || !(facts.focusable || facts.editable) ||
            !node.frame)
            return false;
        const QRectF& frame = *node.frame;
        const bool seen = std::ranges::any_of(
            m_screens, [&](const ScreenInfo& screen) { return screen.device.intersects(frame); });
        if (!seen || !isLargeEnough(frame.size() / scaleAt(m_screens, frame))) return false;
        if (const QRectF part = uncovered(frame); !part.isEmpty()) {
            InputTarget target = m_common;
            target.element = node.element;
            target.frame = part;
            m_found.targets.append(target);
        }
        return true;
    }

    void visit(const AccessibleNode& node) {
        if (offer(node)) return;
        if (node.children.empty() && !node.hasHiddenChildren &&
            node.facts.role == ElementRole::webArea)
            m_found.unready = true;
        for (const AccessibleNode& child : node.children) visit(child);
    }

private:
    /// The visible part of a box; empty when that is too small.
    QRectF uncovered(const QRectF& whole) const {
        // A long text that is scrolled reaches beyond its window.
        const QRectF inside = whole & m_window;
        const QRectF frame =
            isLargeEnough(inside.size() / scaleAt(m_screens, inside)) ? inside : whole;
        if (!m_cover.intersects(frame.toAlignedRect())) return frame;
        const QRegion rest = QRegion(frame.toRect()) - m_cover;
        const bool enough =
            std::ranges::any_of(rest, [scale = scaleAt(m_screens, frame)](const QRect& part) {
                return isLargeEnough(QSizeF(part.size()) / scale);
            });
        return enough ? QRectF(rest.boundingRect()) : QRectF();
    }

    BoxesFound& m_found;
    const QList<ScreenInfo>& m_screens;
    const InputTarget& m_common;
    QRegion m_cover;
    QRectF m_window;
};

} // namespace

BoxesFound boxesOf(const AccessibleApplication& application, qint64 pid, const QString& name,
                   const QList<ScreenInfo>& screens, const QList<WindowInfo>& shown) {
    BoxesFound found;
    InputTarget common;
    common.pid = pid;
    common.appName = name;
    if (application.focused) Walk(found, screens, common).offer(*application.focused);
    for (const auto& window : application.windows) {
        const bool seen =
            window.root.frame && std::ranges::any_of(screens, [&](const ScreenInfo& screen) {
                return screen.device.intersects(*window.root.frame);
            });
        if (window.minimized || !seen) continue;
        common.window = window.root.element;
        Walk(found, screens, common, coverOf(*window.root.frame, window.title, pid, shown),
             *window.root.frame)
            .visit(window.root);
    }
    // The focused box is found again in its window, where its visible part is known.
    const auto& targets = found.targets;
    if (targets.size() > 1 && application.focused &&
        std::any_of(targets.begin() + 1, targets.end(), [&](const InputTarget& target) {
            return targets.first().element->isSame(*target.element);
        }))
        found.targets.removeFirst();
    return found;
}

QList<InputTarget> withoutDuplicates(const QList<InputTarget>& targets,
                                     const QList<ScreenInfo>& screens) {
    constexpr double sameEdge = 6; // points
    constexpr double sameWidth = 12;
    QList<InputTarget> kept;
    for (const InputTarget& target : targets) {
        const double scale = scaleAt(screens, target.frame);
        const bool known = std::ranges::any_of(kept, [&](const InputTarget& other) {
            return other.pid == target.pid &&
                   std::abs(other.frame.left() - target.frame.left()) < sameEdge * scale &&
                   std::abs(other.frame.bottom() - target.frame.bottom()) < sameEdge * scale &&
                   std::abs(other.frame.width() - target.frame.width()) < sameWidth * scale;
        });
        if (!known) kept.append(target);
    }
    return kept;
}

QList<InputTarget> assignHints(QList<InputTarget> targets, const QList<ScreenInfo>& screens) {
    // "Within 24 points" alone is no order (a row may creep down box by box), so a row is what lies
    // within 24 points of its highest box.
    const auto topEdge = [](const InputTarget& target) { return target.frame.top(); };
    std::ranges::stable_sort(targets, {}, topEdge);
    for (auto row = targets.begin(); row != targets.end();) {
        const double top = topEdge(*row);
        const double height = sameRow * scaleAt(screens, row->frame);
        const auto end = std::find_if(row, targets.end(), [&](const InputTarget& target) {
            return topEdge(target) - top > height;
        });
        std::stable_sort(row, end, [](const InputTarget& a, const InputTarget& b) {
            return a.frame.left() < b.frame.left();
        });
        row = end;
    }
    const QStringList labels = hintLabels(targets.size());
    targets.resize(labels.size());
    for (qsizetype i = 0; i < labels.size(); ++i) targets[i].hint = labels[i];
    return targets;
}

} // namespace murlo
