#include "platform/linux/x11/windows/PointerClick.h"

#include <algorithm>

#include <xcb/xtest.h>

namespace murlo {

namespace {

/// Where a click most likely puts the caret at the end of the text: at the right end of a
/// single-line box; well inside a multi-line one, away from the scroll bars at its edges.
QPoint endOfText(const QRectF& box) {
    constexpr double singleLine = 60; // at most this high, in device pixels
    constexpr double fromEdge = 3;
    if (box.height() <= singleLine)
        return QPointF(box.right() - fromEdge, box.center().y()).toPoint();
    return QPointF(box.left() + 0.75 * box.width(), box.top() + 0.75 * box.height()).toPoint();
}

} // namespace

bool clickInto(const XcbConnection& connection, const QList<WindowInfo>& shown, qint64 pid,
               const QString& title, const QRectF& box) {
    const auto screen =
        connection.reply(xcb_get_geometry_reply, xcb_get_geometry(connection, connection.root()));
    const auto pointer =
        connection.reply(xcb_query_pointer_reply, xcb_query_pointer(connection, connection.root()));
    if (!screen || !pointer) return false;
    const QRectF visible = box & QRectF(0, 0, screen->width, screen->height);
    if (visible.isEmpty()) return false;
    const QPoint point = endOfText(visible);
    const auto there = std::ranges::find_if(
        shown, [&](const WindowInfo& window) { return window.bounds.contains(point); });
    if (there == shown.end() || there->pid != pid) return false;
    const bool named = windowOf(shown, pid, title)->title == title;
    if (named && there->title != title) return false;

    const auto fake = [&](quint8 type, quint8 detail, QPoint at) {
        xcb_test_fake_input(connection, type, detail, XCB_CURRENT_TIME, connection.root(),
                            static_cast<qint16>(at.x()), static_cast<qint16>(at.y()), 0);
    };
    fake(XCB_MOTION_NOTIFY, 0, point);
    fake(XCB_BUTTON_PRESS, XCB_BUTTON_INDEX_1, {});
    fake(XCB_BUTTON_RELEASE, XCB_BUTTON_INDEX_1, {});
    fake(XCB_MOTION_NOTIFY, 0, {pointer->root_x, pointer->root_y});
    connection.sync();
    return true;
}

} // namespace murlo
