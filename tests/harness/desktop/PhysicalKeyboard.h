#pragma once

#include <QByteArray>

#include <memory>

namespace murlo {

/// The hardware keyboard of a virtual desktop: its keys are seen by everybody as pressed by hand.
/// Keys are named by their place as XKB does ("LFSH", "AC01", "ESC").
class PhysicalKeyboard {
public:
    /// Connects to the desktop of the DISPLAY variable and looks for its keyboard device.
    PhysicalKeyboard();
    /// Lets go of every key.
    ~PhysicalKeyboard();

    /// False when the display has no such keyboard.
    [[nodiscard]] bool isThere() const;
    void press(const QByteArray& name) { move(name, true); }
    void release(const QByteArray& name) { move(name, false); }
    void tap(const QByteArray& name) {
        press(name);
        release(name);
    }
    /// Unplugs the keyboard, or plugs it in again.
    void setPlugged(bool plugged);
    /// A key event of another program, as remote desktops and on-screen keyboards make them.
    void pressFromProgram(const QByteArray& name, bool down);
    /// Whether the session sees the key as down, by whatever device.
    [[nodiscard]] bool isDown(const QByteArray& name) const;

private:
    void move(const QByteArray& name, bool down);

    struct Server;
    std::unique_ptr<Server> m_server;
};

} // namespace murlo
