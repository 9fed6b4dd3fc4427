#include "tests/harness/desktop/KeyWindow.h"

#include <poll.h>
#include <unistd.h>
#include <xkbcommon/xkbcommon.h>

#include <X11/XKBlib.h>
#include <X11/Xatom.h>
#include <X11/Xutil.h>

namespace murlo {

struct KeyWindow::Server {
    Display* display = XOpenDisplay(nullptr);
    Window window = 0;
    Atom ping = XInternAtom(display, "_NET_WM_PING", False);
};

KeyWindow::KeyWindow(Pings pings)
    : m_server(std::make_unique<Server>()) {
    Display* display = m_server->display;
    m_server->window =
        XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 200, 100, 0, 0, 0);
    XSelectInput(display, m_server->window, KeyPressMask | FocusChangeMask);
    if (pings == Pings::answered) {
        const long pid = getpid();
        XChangeProperty(display, m_server->window, XInternAtom(display, "_NET_WM_PID", False),
                        XA_CARDINAL, 32, PropModeReplace,
                        reinterpret_cast<const unsigned char*>(&pid), 1);
        XSetWMProtocols(display, m_server->window, &m_server->ping, 1);
    }
    XMapRaised(display, m_server->window);
    // Xlib asks for the map, and to be told of its changes, with the first symbol it looks up.
    XkbKeycodeToKeysym(display, 8, 0, 0);
    // The window manager gives a new window the focus, and may still be busy with the last one.
    Window focus = 0;
    int revert = 0;
    for (int steady = 0, looks = 0; steady < 5 && looks < 1500; ++looks) {
        XGetInputFocus(display, &focus, &revert);
        steady = focus == m_server->window ? steady + 1 : 0;
        // A window manager that is just starting may miss the first request.
        if (looks % 50 == 49 && steady == 0) XMapRaised(display, m_server->window);
        poll(nullptr, 0, 20);
    }
}

KeyWindow::~KeyWindow() {
    XCloseDisplay(m_server->display);
}

void KeyWindow::takeEvents(int most) {
    Display* display = m_server->display;
    for (; most > 0 && XPending(display); --most) {
        XEvent event;
        XNextEvent(display, &event);
        if (event.type == MappingNotify) XRefreshKeyboardMapping(&event.xmapping);
        if (event.type == FocusOut) ++focusLosses;
        if (event.type == ClientMessage &&
            static_cast<Atom>(event.xclient.data.l[0]) == m_server->ping) {
            event.xclient.window = DefaultRootWindow(display);
            XSendEvent(display, event.xclient.window, False,
                       SubstructureRedirectMask | SubstructureNotifyMask, &event);
            XFlush(display);
        }
        if (event.type != KeyPress) continue;
        KeySym symbol = NoSymbol;
        XLookupString(&event.xkey, nullptr, 0, &symbol, nullptr);
        char typed[8] = {};
        xkb_keysym_to_utf8(static_cast<xkb_keysym_t>(symbol), typed, sizeof typed);
        QString text = QString::fromUtf8(typed);
        if (text == QLatin1String("\r")) text = QStringLiteral("\n");
        const bool isInsert = symbol == XK_Insert;
        const unsigned state = event.xkey.state;
        if (isInsert || (state & (ControlMask | Mod1Mask | Mod4Mask) && !text.isEmpty())) {
            text = QLatin1Char('<');
            for (const auto& [mask, name] :
                 {std::pair{ControlMask, "Ctrl+"}, std::pair{Mod1Mask, "Alt+"},
                  std::pair{Mod4Mask, "Super+"}, std::pair{ShiftMask, "Shift+"}})
                if (state & mask) text += QLatin1String(name);
            text += QLatin1String(XKeysymToString(symbol)) + QLatin1Char('>');
        }
        m_text += text;
    }
}

} // namespace murlo
