#pragma once

#include <QString>

#include <memory>

namespace murlo {

/// Another program's window with the keyboard focus, which notes what is typed into it. It looks
/// the symbols up as programs do: from the keyboard map as it is when the program gets to the
/// event.
class KeyWindow {
public:
    /// Whether the program answers "are you alive" messages; one that does not also tells nothing
    /// of its process, as old programs do.
    enum class Pings { answered, notTaken };
    /// Opens the window on the desktop of the DISPLAY variable and waits until it has the focus.
    explicit KeyWindow(Pings pings = Pings::answered);
    ~KeyWindow();

    /// Takes at most this many events that have arrived; a slow program takes few at a time.
    void takeEvents(int most = 100000);
    /// What was typed, with shortcuts as "<Ctrl+v>" in its place.
    [[nodiscard]] QString text() const { return m_text; }
    void clear() { m_text.clear(); }
    /// How often the window lost the focus.
    int focusLosses = 0;

private:
    struct Server;
    std::unique_ptr<Server> m_server;
    QString m_text;
};

} // namespace murlo
