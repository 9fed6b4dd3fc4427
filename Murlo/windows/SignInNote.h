#pragma once

#include <QUrl>
#include <QWidget>

#include <functional>
#include <memory>

namespace murlo {

/// What the note does.
struct SignInNoteActions {
    std::function<void()> openAgain;
    std::function<void()> copyAddress;
    std::function<void()> cancel; ///< also when its window is closed
};

/// The small window that stands at the screen's corner while a sign-in waits for the browser. It
/// does not take the keyboard when it comes: the browser has it. Main thread.
class SignInNote : public QWidget {
    Q_OBJECT

public:
    explicit SignInNote(SignInNoteActions actions);

    /// Shows it at the lower right corner of the screen that has the pointer.
    void showInCorner();

protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    SignInNoteActions m_actions;
};

} // namespace murlo
