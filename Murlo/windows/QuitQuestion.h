#pragma once

#include <QMessageBox>

#include <functional>
#include <memory>

namespace murlo {

/// The dialog "Quit Murlo?" of a first quit; nothing but the quitting waits for its answer. Main
/// thread.
class QuitQuestion {
public:
    /// Asks, in front of other windows; `quit` is called if the answer is yes. While the question
    /// is on the screen, another call only brings it forward.
    void ask(std::function<void()> quit);
    /// Closes the dialog without an answer.
    void withdraw() { m_box.reset(); }

    /// The question as a window, not yet shown.
    [[nodiscard]] static std::unique_ptr<QMessageBox> makeBox();

private:
    std::unique_ptr<QMessageBox> m_box;
};

} // namespace murlo
