#pragma once

#include "tests/harness/desktop/Desk.h"

#include <QTemporaryDir>

#include <functional>

namespace murlo {

/// Somebody who signs in with a real browser (Chromium): in Murlo's window, on the page that the
/// browser shows, and in the browser's question whether it may open Murlo. Needs a virtual desktop.
/// Main thread.
class BrowserSignIn {
public:
    explicit BrowserSignIn(Desk& desk);
    /// Closes the browser.
    ~BrowserSignIn() { closeBrowser(); }

    /// Makes the browser the desktop's own. Call it before Murlo starts.
    void prepare();
    /// Starts Murlo again, which shows its window, and signs in from there; false when something of
    /// that did not happen. `step` is called with the name of what is on the screen.
    [[nodiscard]] bool signIn(const std::function<void(const char*)>& step = [](const char*) {});
    void closeBrowser();

private:
    /// Presses keys, one after the other ("TAB", "RTRN", "SPCE").
    void press(std::initializer_list<const char*> keys);
    [[nodiscard]] bool awaitTitle(const QString& words) const;
    [[nodiscard]] qint64 browserPid() const;

    Desk& m_desk;
    QTemporaryDir m_folder;
};

} // namespace murlo
