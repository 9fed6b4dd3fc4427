#include "tests/support/desktop/KeyWindow.h"

#include <xkbcommon/xkbcommon.h>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
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
    XSetWindowAttributes attributes{};
    attributes.override_redirect = True; // the window manager keeps its hands off the focus
    attributes.event_mask = KeyPressMask | FocusChangeMask | StructureNotifyMask;
    m_server->window =
        XCreateWindow(display, DefaultRootWindow(display), 0, 0, 100, 100, 0, CopyFromParent,
                      InputOutput, nullptr, CWOverrideRedirect | CWEventMask, &attributes);
    if (pings == Pings::answered) XSetWMProtocols(display, m_server->window, &m_server->ping, 1);
    XMapRaised(display, m_server->window);
    XEvent mapped;
    XWindowEvent(display, m_server->window, StructureNotifyMask, &mapped);
    XSetInputFocus(display, m_server->window, RevertToPointerRoot, CurrentTime);
    XSync(display, False);
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
        ++presses;
        KeySym symbol = NoSymbol;
        XLookupString(&event.xkey, nullptr, 0, &symbol, nullptr);
        char typed[8] = {};
        xkb_keysym_to_utf8(static_cast<xkb_keysym_t>(symbol), typed, sizeof typed);
        QString text = QString::fromUtf8(typed);
        if (text == QLatin1String("\r")) text = QStringLiteral("\n");
        QString modifiers;
        if (event.xkey.state & ControlMask) modifiers += QLatin1String("Ctrl+");
        if (event.xkey.state & Mod1Mask) modifiers += QLatin1String("Alt+");
        if (event.xkey.state & Mod4Mask) modifiers += QLatin1String("Super+");
        if (!modifiers.isEmpty() && event.xkey.state & ShiftMask)
            modifiers += QLatin1String("Shift+");
        if (!modifiers.isEmpty() && !text.isEmpty())
            text = QLatin1Char('<') + modifiers + QString::fromLatin1(XKeysymToString(symbol)) +
                   QLatin1Char('>');
        m_text += text;
    }
}

} // namespace murlo
