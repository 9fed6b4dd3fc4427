#include "tests/harness/desktop/Windows.h"

#include "platform/linux/x11/windows/WindowManager.h"
#include "tests/harness/Files.h"

#include <algorithm>
#include <xcb/xtest.h>

namespace murlo {

namespace {

bool belongsTo(const WindowManager& manager, xcb_window_t window, qint64 pid) {
    const auto owner = manager.pidOf(window);
    return owner && descendsFrom(*owner, pid);
}

/// The first window of a process or of one that it started; XCB_WINDOW_NONE when there is none.
xcb_window_t windowOf(const XcbConnection& server, const WindowManager& manager, qint64 pid) {
    const xcb_atom_t list = server.atom(QStringLiteral("_NET_CLIENT_LIST"));
    const auto windows = server.property(server.root(), list, XCB_ATOM_WINDOW).numbers();
    const auto found = std::ranges::find_if(
        windows, [&](xcb_window_t window) { return belongsTo(manager, window, pid); });
    return found == windows.end() ? xcb_window_t{XCB_WINDOW_NONE} : *found;
}

} // namespace

bool descendsFrom(qint64 pid, qint64 ancestor) {
    while (pid > 1 && pid != ancestor) {
        const QByteArray line = contentOf(QStringLiteral("/proc/%1/stat").arg(pid));
        pid = line.mid(line.lastIndexOf(')') + 2).split(' ').value(1).toLongLong();
    }
    return pid == ancestor;
}

bool ownsActiveWindow(qint64 pid) {
    const XcbConnection server;
    const WindowManager manager(server);
    return belongsTo(manager, manager.active(), pid);
}

bool bringToFront(qint64 pid) {
    const XcbConnection server;
    const WindowManager manager(server);
    const xcb_window_t window = windowOf(server, manager, pid);
    if (window != XCB_WINDOW_NONE) manager.activate(window);
    server.sync();
    return window != XCB_WINDOW_NONE;
}

bool moveWindow(qint64 pid, const QPoint& place) {
    const XcbConnection server;
    const xcb_window_t window = windowOf(server, WindowManager(server), pid);
    if (window == XCB_WINDOW_NONE) return false;
    const qint32 corner[] = {place.x(), place.y()};
    xcb_configure_window(server, window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, corner);
    server.sync();
    return true;
}

QString titleOfWindow(qint64 pid) {
    const XcbConnection server;
    const WindowManager manager(server);
    return manager.titleOf(windowOf(server, manager, pid));
}

void switchDesktop(int number) {
    const XcbConnection server;
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = server.root();
    message.type = server.atom(QStringLiteral("_NET_CURRENT_DESKTOP"));
    message.data.data32[0] = static_cast<quint32>(number);
    xcb_send_event(server, 0, server.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&message));
    server.sync();
}

void clickAt(const QPoint& place) {
    const XcbConnection server;
    xcb_test_fake_input(server, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, XCB_WINDOW_NONE,
                        static_cast<qint16>(place.x()), static_cast<qint16>(place.y()), 0);
    for (const quint8 event : {XCB_BUTTON_PRESS, XCB_BUTTON_RELEASE})
        xcb_test_fake_input(server, event, 1, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
    server.sync();
}

} // namespace murlo
