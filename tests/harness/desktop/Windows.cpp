#include "tests/harness/desktop/Windows.h"

#include <QFile>

#include <memory>
#include <vector>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>

namespace murlo {

namespace {

using Connection = std::unique_ptr<Display, decltype(&XCloseDisplay)>;

/// The 32-bit values of a window's property; empty when it has none.
std::vector<unsigned long> values(Display* display, Window window, const char* property) {
    Atom type = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long left = 0;
    unsigned char* data = nullptr;
    std::vector<unsigned long> found;
    if (XGetWindowProperty(display, window, XInternAtom(display, property, False), 0, 1024, False,
                           AnyPropertyType, &type, &format, &count, &left, &data) == Success &&
        data != nullptr && format == 32) {
        const auto* words = reinterpret_cast<const unsigned long*>(data);
        found.assign(words, words + count);
    }
    if (data != nullptr) XFree(data);
    return found;
}

bool belongsTo(Display* display, Window window, qint64 pid) {
    const auto owner = values(display, window, "_NET_WM_PID");
    return !owner.empty() && descendsFrom(static_cast<qint64>(owner.front()), pid);
}

/// The first window of a process or of one that it started; None when there is none.
Window windowOf(Display* display, qint64 pid) {
    if (!display) return None;
    for (const Window window : values(display, DefaultRootWindow(display), "_NET_CLIENT_LIST")) {
        if (belongsTo(display, window, pid)) return window;
    }
    return None;
}

/// A window may vanish between two requests; that is no reason to end the program.
Connection connect() {
    XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
    return {XOpenDisplay(nullptr), XCloseDisplay};
}

/// Asks the window manager for something that concerns a window or all of them.
void ask(Display* display, Window window, const char* request, long value) {
    XEvent message{};
    message.xclient.type = ClientMessage;
    message.xclient.window = window;
    message.xclient.message_type = XInternAtom(display, request, False);
    message.xclient.format = 32;
    message.xclient.data.l[0] = value;
    XSendEvent(display, DefaultRootWindow(display), False,
               SubstructureRedirectMask | SubstructureNotifyMask, &message);
    XSync(display, False);
}

} // namespace

bool descendsFrom(qint64 pid, qint64 ancestor) {
    while (pid > 1 && pid != ancestor) {
        QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
        if (!stat.open(QIODevice::ReadOnly)) return false;
        const QByteArray line = stat.readAll();
        pid = line.mid(line.lastIndexOf(')') + 2).split(' ').value(1).toLongLong();
    }
    return pid == ancestor;
}

bool ownsActiveWindow(qint64 pid) {
    const Connection display = connect();
    if (!display) return false;
    const auto active =
        values(display.get(), DefaultRootWindow(display.get()), "_NET_ACTIVE_WINDOW");
    return !active.empty() && active.front() != None &&
           belongsTo(display.get(), active.front(), pid);
}

bool bringToFront(qint64 pid) {
    const Connection display = connect();
    const Window window = windowOf(display.get(), pid);
    if (window == None) return false;
    constexpr long asPager = 2; // it is the user's wish
    ask(display.get(), window, "_NET_ACTIVE_WINDOW", asPager);
    return true;
}

bool moveWindow(qint64 pid, const QPoint& place) {
    const Connection display = connect();
    const Window window = windowOf(display.get(), pid);
    if (window == None) return false;
    XMoveWindow(display.get(), window, place.x(), place.y());
    XSync(display.get(), False);
    return true;
}

QString titleOfWindow(qint64 pid) {
    const Connection display = connect();
    const Window window = windowOf(display.get(), pid);
    if (window == None) return {};
    XTextProperty title{};
    const Atom name = XInternAtom(display.get(), "_NET_WM_NAME", False);
    if (!XGetTextProperty(display.get(), window, &title, name) || !title.value) return {};
    QString text = QString::fromUtf8(reinterpret_cast<const char*>(title.value),
                                     static_cast<qsizetype>(title.nitems));
    XFree(title.value);
    return text;
}

void switchDesktop(int number) {
    const Connection display = connect();
    if (display)
        ask(display.get(), DefaultRootWindow(display.get()), "_NET_CURRENT_DESKTOP", number);
}

void clickAt(const QPoint& place) {
    const Connection display = connect();
    if (!display) return;
    XTestFakeMotionEvent(display.get(), -1, place.x(), place.y(), CurrentTime);
    for (const Bool down : {True, False}) XTestFakeButtonEvent(display.get(), 1, down, CurrentTime);
    XSync(display.get(), False);
}

} // namespace murlo
