#pragma once

#include "tests/harness/desktop/FocusedBox.h"

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <memory>
#include <optional>

namespace murlo {

/// A program that nobody here wrote, with a text box to dictate into. Main thread.
class TargetApp {
public:
    enum class Kind {
        gtkEntry, ///< a GTK dialog with one line of text (zenity)
        editor,   ///< a GTK text editor (mousepad)
        terminal, ///< a shell in a VTE terminal (xfce4-terminal)
        browser,  ///< a page's text area in Chromium
    };

    /// The kind by its name on a command line ("gtk-entry", "editor", "terminal", "browser").
    [[nodiscard]] static std::optional<Kind> kindNamed(const QString& name);

    explicit TargetApp(Kind kind);
    /// Closes the program.
    ~TargetApp();
    TargetApp(const TargetApp&) = delete;
    TargetApp& operator=(const TargetApp&) = delete;

    /// Starts the program and waits until its box has the focus; false when that did not happen.
    [[nodiscard]] bool start(int milliseconds = 30000);
    /// What is in the box, without the line ends that the program adds by itself; a terminal's
    /// without its prompt. Nothing when the box does not answer.
    [[nodiscard]] std::optional<QString> text() const;
    /// Brings its window to the front; false when it is not there within 5 s.
    [[nodiscard]] bool activate();
    /// Stops the program without ending it, as if it hung; `resume` lets it go on.
    void hang() const;
    void resume() const;
    /// Ends the program at once.
    void close();

    [[nodiscard]] qint64 pid() const { return m_process.processId(); }

private:
    Kind m_kind;
    QTemporaryDir m_folder;
    QProcess m_process;
    std::unique_ptr<FocusedBox> m_box;
};

} // namespace murlo
