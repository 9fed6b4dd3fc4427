#include "platform/linux/x11/windows/X11Interruptions.h"

#include "platform/linux/x11/keys/InputDevices.h"

#include <QGuiApplication>

#include <xcb/xinput.h>

namespace murlo {

namespace {

/// Buttons 4 to 7 are the wheel: up, down, left, right.
bool isWheel(quint32 button) {
    return button >= 4 && button <= 7;
}

} // namespace

X11Interruptions::X11Interruptions() {
    if (!InputDevices::prepare(m_connection)) return;
    m_desktop = m_connection.atom(QStringLiteral("_NET_CURRENT_DESKTOP"));
    m_notifier =
        std::make_unique<QSocketNotifier>(m_connection.descriptor(), QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, [this] { readEvents(); });
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, &X11Interruptions::interrupted);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, [this](const QScreen* screen) {
        watch(screen);
        interrupted();
    });
    for (const QScreen* screen : QGuiApplication::screens()) watch(screen);
}

X11Interruptions::~X11Interruptions() = default;

void X11Interruptions::watch(const QScreen* screen) {
    connect(screen, &QScreen::geometryChanged, this, &X11Interruptions::interrupted);
}

void X11Interruptions::interrupted() {
    if (m_watching && onInterruption) onInterruption();
}

void X11Interruptions::setWatching(bool watching) {
    if (m_watching == watching) return;
    m_watching = watching;
    if (m_notifier) select(watching);
}

void X11Interruptions::select(bool watching) {
    const quint32 properties = watching ? XCB_EVENT_MASK_PROPERTY_CHANGE : XCB_EVENT_MASK_NO_EVENT;
    xcb_change_window_attributes(m_connection, m_connection.root(), XCB_CW_EVENT_MASK, &properties);
    struct {
        xcb_input_event_mask_t head;
        quint32 bits;
    } mask{{XCB_INPUT_DEVICE_ALL_MASTER, 1},
           watching ? static_cast<quint32>(XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS) : 0U};
    xcb_input_xi_select_events(m_connection, m_connection.root(), 1, &mask.head);
    m_connection.sync();
    readEvents();
}

void X11Interruptions::readEvents() {
    bool wasInterrupted = false;
    while (const auto event = m_connection.nextEvent()) {
        if ((event->response_type & 0x7F) == XCB_PROPERTY_NOTIFY) {
            const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(*event);
            wasInterrupted = wasInterrupted || change.atom == m_desktop;
        } else if (InputDevices::eventType(m_connection, *event) == XCB_INPUT_RAW_BUTTON_PRESS) {
            const auto& press = reinterpret_cast<const xcb_input_raw_button_press_event_t&>(*event);
            wasInterrupted = wasInterrupted || !isWheel(press.detail);
        }
    }
    if (!m_connection.isAlive()) m_notifier->setEnabled(false);
    if (wasInterrupted) interrupted();
}

} // namespace murlo
