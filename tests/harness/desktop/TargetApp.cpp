#include "tests/harness/desktop/TargetApp.h"

#include "tests/harness/desktop/Waiting.h"
#include "tests/harness/desktop/Windows.h"

#include <QFile>
#include <QStringList>

#include <signal.h>
#include <unistd.h>

namespace murlo {

namespace {

const QString prompt = QStringLiteral("$ ");

struct Command {
    QString program;
    QStringList arguments;
};

// The window's title tells what is in the box: browsers tell it to nobody else on most desktops.
const QString emptyTitle = QStringLiteral("A page with a text area");
const QString titleEnd = QStringLiteral(" - Chromium");
const char* page = R"(<!doctype html><meta charset="utf-8"><title>A page with a text area</title>
<body style="font: 18px sans-serif; margin: 3em"><h1>Write something</h1>
<textarea autofocus rows="8" cols="70" style="font: inherit"
 oninput="document.title = value || 'A page with a text area'"></textarea></body>
)";

Command browser(const QString& folder) {
    const QString file = folder + QStringLiteral("/page.html");
    QFile html(file);
    if (html.open(QIODevice::WriteOnly)) html.write(page);
    QStringList arguments{
        QStringLiteral("--user-data-dir=") + folder + QStringLiteral("/profile"),
        QStringLiteral("--disable-gpu"),
        QStringLiteral("--disable-quic"),
        QStringLiteral("--disable-sync"),
        QStringLiteral("--disable-background-networking"),
        QStringLiteral("--disable-component-update"),
        QStringLiteral("--disable-default-apps"),
        QStringLiteral("--disable-dev-shm-usage"),
        QStringLiteral("--no-first-run"),
        QStringLiteral("--no-default-browser-check"),
        QStringLiteral("--password-store=basic"),
    };
    if (qgetenv("DESKTOP_ACCESSIBILITY") != "0")
        arguments += QStringLiteral("--force-renderer-accessibility"); // else it gets no letters
    // Its sandbox neither nests in a virtual desktop's namespaces nor starts as root.
    if (geteuid() == 0 || qEnvironmentVariableIsSet("MURLO_VIRTUAL_DESKTOP"))
        arguments += {QStringLiteral("--no-sandbox"), QStringLiteral("--test-type")};
    arguments += QStringLiteral("file://") + file;
    return {QStringLiteral("chromium"), arguments};
}

Command commandOf(TargetApp::Kind kind, const QString& folder) {
    switch (kind) {
    case TargetApp::Kind::gtkEntry:
        return {QStringLiteral("zenity"),
                {QStringLiteral("--entry"), QStringLiteral("--title=A dialog"),
                 QStringLiteral("--text=Write something"), QStringLiteral("--width=700")}};
    case TargetApp::Kind::editor:
        return {QStringLiteral("mousepad"), {QStringLiteral("--disable-server")}};
    case TargetApp::Kind::terminal:
        return {QStringLiteral("xfce4-terminal"),
                {QStringLiteral("--disable-server"), QStringLiteral("--geometry=110x24"),
                 QStringLiteral("-x"), QStringLiteral("env"), QStringLiteral("PS1=") + prompt,
                 QStringLiteral("bash"), QStringLiteral("--norc"), QStringLiteral("--noprofile")}};
    case TargetApp::Kind::browser:
        return browser(folder);
    }
    return {};
}

} // namespace

std::optional<TargetApp::Kind> TargetApp::kindNamed(const QString& name) {
    if (name == QLatin1String("gtk-entry")) return Kind::gtkEntry;
    if (name == QLatin1String("editor")) return Kind::editor;
    if (name == QLatin1String("terminal")) return Kind::terminal;
    if (name == QLatin1String("browser")) return Kind::browser;
    return std::nullopt;
}

TargetApp::TargetApp(Kind kind)
    : m_kind(kind) {
    m_process.setStandardOutputFile(QProcess::nullDevice());
    m_process.setStandardErrorFile(m_folder.filePath(QStringLiteral("errors")));
}

TargetApp::~TargetApp() {
    close();
}

bool TargetApp::start(int milliseconds) {
    const Command command = commandOf(m_kind, m_folder.path());
    m_process.start(command.program, command.arguments);
    if (!m_process.waitForStarted()) return false;
    if (m_kind != Kind::browser) m_box = std::make_unique<FocusedBox>(pid());
    return waitFor(
               [this] {
                   return m_process.state() == QProcess::NotRunning ||
                          (ownsActiveWindow(pid()) && (!m_box || m_box->find()) &&
                           text().has_value());
               },
               milliseconds, 50) &&
           m_process.state() == QProcess::Running;
}

std::optional<QString> TargetApp::text() const {
    if (m_kind == Kind::browser) {
        const QString title = titleOfWindow(pid());
        if (!title.endsWith(titleEnd)) return std::nullopt;
        const QString shown = title.chopped(titleEnd.size());
        return shown == emptyTitle ? QString() : shown;
    }
    auto text = m_box ? m_box->text() : std::nullopt;
    if (!text) return text;
    if (m_kind == Kind::terminal) {
        // What stands after the last prompt; before the first one the shell is not there yet.
        const qsizetype at = text->startsWith(prompt)
                                 ? text->lastIndexOf(QLatin1Char('\n') + prompt) + 1
                                 : text->indexOf(prompt);
        if (at < 0) return std::nullopt;
        text->remove(0, at + prompt.size());
    }
    while (text->endsWith(QLatin1Char('\n'))) text->chop(1);
    return text;
}

bool TargetApp::activate() {
    return bringToFront(pid()) && waitFor([this] { return ownsActiveWindow(pid()); }, 5000);
}

void TargetApp::hang() const {
    ::kill(static_cast<pid_t>(pid()), SIGSTOP);
}

void TargetApp::resume() const {
    ::kill(static_cast<pid_t>(pid()), SIGCONT);
}

void TargetApp::close() {
    m_box.reset();
    if (m_process.state() == QProcess::NotRunning) return;
    resume();
    m_process.terminate();
    if (m_process.waitForFinished(3000)) return;
    m_process.kill();
    m_process.waitForFinished();
}

} // namespace murlo
