#include "tests/harness/desktop/TargetApp.h"

#include "tests/harness/desktop/Waiting.h"
#include "tests/harness/desktop/Windows.h"

#include <QFile>
#include <QStringList>

#include <algorithm>

#include <signal.h>
#include <unistd.h>

namespace murlo {

namespace {

const QString prompt = QStringLiteral("$ "); // of the shell that is started below

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
    QString options = QStringLiteral(
        "--disable-gpu --disable-quic --disable-sync --disable-background-networking "
        "--disable-component-update --disable-default-apps --disable-dev-shm-usage --no-first-run "
        "--no-default-browser-check --password-store=basic");
    if (qgetenv("DESKTOP_ACCESSIBILITY") != "0")
        options += QStringLiteral(" --force-renderer-accessibility"); // else it gets no letters
    // Its sandbox neither nests in a virtual desktop's namespaces nor starts as root.
    if (geteuid() == 0 || qEnvironmentVariableIsSet("MURLO_VIRTUAL_DESKTOP"))
        options += QStringLiteral(" --no-sandbox --test-type");
    return {QStringLiteral("chromium"),
            options.split(QLatin1Char(' ')) + QStringList{QStringLiteral("--user-data-dir=") +
                                                              folder + QStringLiteral("/profile"),
                                                          QStringLiteral("file://") + file}};
}

Command commandOf(TargetApp::Kind kind, const QString& folder) {
    const auto command = [](const char* program, const char* arguments) {
        return Command{QString::fromLatin1(program),
                       QString::fromLatin1(arguments).split(QLatin1Char('|'))};
    };
    switch (kind) {
    case TargetApp::Kind::gtkEntry:
        return command("zenity", "--entry|--title=A dialog|--text=Write something|--width=700");
    case TargetApp::Kind::form:
        return command("zenity", "--forms|--add-entry=Upper|--add-entry=Lower|--width=500");
    case TargetApp::Kind::editor:
        return command("mousepad", "--disable-server");
    case TargetApp::Kind::terminal:
        return command("xfce4-terminal", "--disable-server|--geometry=110x24|-x|"
                                         "env|PS1=$ |bash|--norc|--noprofile");
    case TargetApp::Kind::browser:
        return browser(folder);
    }
    return {};
}

} // namespace

std::optional<TargetApp::Kind> TargetApp::kindNamed(const QString& name) {
    for (const auto& [known, kind] :
         {std::pair("gtk-entry", Kind::gtkEntry), std::pair("form", Kind::form),
          std::pair("editor", Kind::editor), std::pair("terminal", Kind::terminal),
          std::pair("browser", Kind::browser)})
        if (name == QLatin1String(known)) return kind;
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
    if (m_kind != Kind::browser) m_boxes = std::make_unique<TextBoxes>(pid());
    return waitFor(
               [this] {
                   return m_process.state() == QProcess::NotRunning ||
                          (ownsActiveWindow(pid()) && (!m_boxes || findBox()) &&
                           text().has_value());
               },
               milliseconds, 50) &&
           m_process.state() == QProcess::Running;
}

bool TargetApp::findBox() {
    const QList<TextBoxes::Box> boxes = m_boxes->find();
    const auto box = std::ranges::find_if(boxes, &TextBoxes::Box::hasFocus);
    if (box != boxes.end()) m_box = *box;
    return box != boxes.end();
}

std::optional<QString> TargetApp::text() const {
    if (m_kind == Kind::browser) {
        const QString title = titleOfWindow(pid());
        if (!title.endsWith(titleEnd)) return std::nullopt;
        const QString shown = title.chopped(titleEnd.size());
        return shown == emptyTitle ? QString() : shown;
    }
    auto text = m_box ? m_boxes->textOf(*m_box) : std::nullopt;
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

QStringList TargetApp::texts() const {
    QStringList texts;
    for (const TextBoxes::Box& box : m_boxes ? m_boxes->find() : QList<TextBoxes::Box>())
        texts.append(m_boxes->textOf(box).value_or(QString()));
    return texts;
}

bool TargetApp::moveTo(const QPoint& place) const {
    const bool there = moveWindow(pid(), place);
    letPass(300); // until the window manager has carried it out
    return there;
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
    m_boxes.reset();
    if (m_process.state() == QProcess::NotRunning) return;
    resume();
    m_process.terminate();
    if (m_process.waitForFinished(3000)) return;
    m_process.kill();
    m_process.waitForFinished();
}

} // namespace murlo
