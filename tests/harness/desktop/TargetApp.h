#pragma once

#include "tests/harness/desktop/TextBoxes.h"

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <memory>
#include <optional>

#include <signal.h>

namespace murlo {

/// A program that nobody here wrote, with a text box to dictate into. Main thread.
class TargetApp {
public:
    enum class Kind {
        gtkEntry, ///< a GTK dialog with one line of text (zenity)
        form,     ///< a GTK dialog with two lines of text, one above the other
        editor,   ///< a GTK text editor (mousepad)
        terminal, ///< a shell in a VTE terminal (xfce4-terminal)
        browser,  ///< a page's text area in Chromium
    };

    /// The kind by its name on a command line ("gtk-entry", "form", "editor", "terminal",
    /// "browser").
    [[nodiscard]] static std::optional<Kind> kindNamed(const QString& name);

    explicit TargetApp(Kind kind);
    /// Closes the program.
    ~TargetApp() { close(); }

    /// Starts the program and waits until its box has the focus; false when that did not happen.
    [[nodiscard]] bool start(int milliseconds = 30000);
    /// What is in the box, without the line ends that the program adds by itself; a terminal's
    /// without its prompt. Nothing when the box does not answer.
    [[nodiscard]] std::optional<QString> text() const;
    /// What is in all of its boxes that can be seen, from top to bottom.
    [[nodiscard]] QStringList texts() const;
    /// Brings its window to the front; false when it is not there within 5 s.
    [[nodiscard]] bool activate();
    /// Moves its window to a place on the screen; false when it has none.
    [[nodiscard]] bool moveTo(const QPoint& place) const;
    /// Stops the program without ending it, as if it hung; `resume` lets it go on.
    void hang() const { ::kill(static_cast<pid_t>(pid()), SIGSTOP); }
    void resume() const { ::kill(static_cast<pid_t>(pid()), SIGCONT); }
    /// Ends the program at once.
    void close();

    [[nodiscard]] qint64 pid() const { return m_process.processId(); }

private:
    [[nodiscard]] bool findBox();

    Kind m_kind;
    QTemporaryDir m_folder;
    QProcess m_process;
    std::unique_ptr<TextBoxes> m_boxes;  ///< none of a browser's
    std::optional<TextBoxes::Box> m_box; ///< that had the focus at the start
};

} // namespace murlo
