#include "tests/harness/desktop/BrowserSignIn.h"

#include "tests/harness/Files.h"
#include "tests/harness/desktop/Waiting.h"
#include "tests/harness/desktop/Windows.h"

#include <signal.h>

namespace murlo {

namespace {

constexpr int settling = 600; // milliseconds until a window that has come takes keys

/// Its process is told by a file; its sandbox does not nest in a virtual desktop's namespaces.
const char* script = R"(#!/bin/bash
echo $$ >"%1/pid"
exec chromium --no-sandbox --test-type --user-data-dir="%1/profile" --disable-gpu --disable-quic \
    --disable-sync --disable-background-networking --disable-component-update \
    --disable-default-apps --disable-dev-shm-usage --no-first-run --no-default-browser-check \
    --password-store=basic --window-size=900,700 --window-position=60,40 "$@" >"%1/output" 2>&1
)";

/// What makes it the browser of a user.
const char* entry = "[Desktop Entry]\nType=Application\nName=A browser\nExec=%1/browser %u\n"
                    "MimeType=x-scheme-handler/http;x-scheme-handler/https;\n";
const char* choices = "[Default Applications]\nx-scheme-handler/http=browser.desktop\n"
                      "x-scheme-handler/https=browser.desktop\n";

void write(const QString& path, const char* text, const QString& folder) {
    putFile(path, QByteArray(text).replace("%1", folder.toUtf8()), QFile::ExeOwner);
}

} // namespace

BrowserSignIn::BrowserSignIn(Desk& desk)
    : m_desk(desk) {}

void BrowserSignIn::prepare() {
    const QString home = m_desk.home.path();
    write(m_folder.filePath(QStringLiteral("browser")), script, m_folder.path());
    write(home + QStringLiteral("/.local/share/applications/browser.desktop"), entry,
          m_folder.path());
    write(home + QStringLiteral("/.config/mimeapps.list"), choices, {});
}

void BrowserSignIn::press(std::initializer_list<const char*> keys) {
    for (const char* key : keys) {
        m_desk.press(key);
        letPass(60);
        m_desk.press(key, false);
        letPass(120);
    }
}

qint64 BrowserSignIn::browserPid() const {
    return contentOf(m_folder.filePath(QStringLiteral("pid"))).trimmed().toLongLong();
}

bool BrowserSignIn::awaitTitle(const QString& words) const {
    const auto shown = [&] {
        const qint64 pid = browserPid();
        return pid > 0 && titleOfWindow(pid).contains(words) && ownsActiveWindow(pid);
    };
    return waitFor(shown, 30000, 50);
}

bool BrowserSignIn::signIn(const std::function<void(const char*)>& step) {
    if (!m_desk.murlo.openAgain()) return false;
    const qint64 murlo = m_desk.murlo.pid();
    if (!waitFor([murlo] { return ownsActiveWindow(murlo); })) return false;
    letPass(settling);
    step("window");
    press({"TAB", "TAB", "TAB", "SPCE"}); // past the buttons of model and engine
    if (!awaitTitle(QStringLiteral("Sign in to Murlo"))) return false;
    letPass(settling);
    step("page");
    press({"RTRN"});
    const auto signedIn = [this] {
        return m_desk.murlo.loggedAt(QStringLiteral("account: signed in as ")).has_value();
    };
    if (!awaitTitle(QStringLiteral("signed in"))) return false;
    letPass(2 * settling); // the browser asks whether it may open another program
    step("question");
    if (!signedIn()) press({"TAB", "RTRN"});
    return waitFor(signedIn, 20000, 50);
}

void BrowserSignIn::closeBrowser() {
    const qint64 pid = browserPid();
    if (pid <= 0) return;
    ::kill(static_cast<pid_t>(pid), SIGTERM);
    (void)waitFor([pid] { return ::kill(static_cast<pid_t>(pid), 0) != 0; }, 5000, 20);
}

} // namespace murlo
