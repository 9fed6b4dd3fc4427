#include "tests/harness/desktop/TargetApp.h"

#include "tests/harness/Files.h"
#include "tests/harness/desktop/Waiting.h"
#include "tests/harness/desktop/Windows.h"

#include <QStringList>

#include <algorithm>

#include <unistd.h>

namespace murlo {

namespace {

const QString prompt = QStringLiteral("$ "); // of the shell that is started below

// The window's title tells what is in the box: browsers tell it to nobody else on most desktops.
const QString emptyTitle = QStringLiteral("A page with a text area");
const QString titleEnd = QStringLiteral(" - Chromium");
const char* page = R"(<!doctype html><meta charset="utf-8"><title>A page with a text area</title>
<body style="font: 18px sans-serif; margin: 3em"><h1>Write something</h1>
<textarea autofocus rows="8" cols="70" style="font: inherit"
 oninput="document.title = value || 'A page with a text area'"></textarea></body>
)";

struct Program {
    const char* name;
    TargetApp::Kind kind;
    const char* command;
    const char* arguments;
};

using Kind = TargetApp::Kind;
constexpr Program programs[] = {
    {"gtk-entry", Kind::gtkEntry, "zenity",
     "--entry|--title=A dialog|--text=Write something|--width=700"},
    {"form", Kind::form, "zenity", "--forms|--add-entry=Upper|--add-entry=Lower|--width=500"},
    {"editor", Kind::editor, "mousepad", "--disable-server"},
    {"terminal", Kind::terminal, "xfce4-terminal",
     "--disable-server|--geometry=110x24|-x|env|PS1=$ |bash|--norc|--noprofile"},
    {"browser", Kind::browser, "chromium",
     "--disable-gpu|--disable-quic|--disable-sync|--disable-background-networking|"
     "--disable-component-update|--disable-default-apps|--disable-dev-shm-usage|--no-first-run|"
     "--no-default-browser-check|--password-store=basic"},
};

/// What a browser is told besides; its profile and the page are in the folder.
QStringList browserArguments(const QString& folder) {
    const QString html = folder + QStringLiteral("/page.html");
    putFile(html, page);
    QStringList arguments{QStringLiteral("--user-data-dir=%1/profile").arg(folder),
                          QStringLiteral("file://") + html};
    if (qgetenv("DESKTOP_ACCESSIBILITY") != "0") // else it gets no letters
        arguments.prepend(QStringLiteral("--force-renderer-accessibility"));
    // Its sandbox neither nests in a virtual desktop's namespaces nor starts as root.
    if (geteuid() == 0 || qEnvironmentVariableIsSet("MURLO_VIRTUAL_DESKTOP"))
        arguments =
            QStringList{QStringLiteral("--no-sandbox"), QStringLiteral("--test-type")} + arguments;
    return arguments;
}

} // namespace

std::optional<TargetApp::Kind> TargetApp::kindNamed(const QString& name) {
    for (const Program& program : programs)
        if (name == QLatin1String(program.name)) return program.kind;
    return std::nullopt;
}

TargetApp::TargetApp(Kind kind)
    : m_kind(kind) {
    m_process.setStandardOutputFile(QProcess::nullDevice());
    m_process.setStandardErrorFile(m_folder.filePath(QStringLiteral("errors")));
}

bool TargetApp::start(int milliseconds) {
    const Program& program = *std::ranges::find(programs, m_kind, &Program::kind);
    QStringList arguments = QString::fromLatin1(program.arguments).split(QLatin1Char('|'));
    if (m_kind == Kind::browser) arguments += browserArguments(m_folder.path());
    m_process.start(QString::fromLatin1(program.command), arguments);
    if (!m_process.waitForStarted()) return false;
    if (m_kind != Kind::browser) m_boxes = std::make_unique<TextBoxes>(pid());
    const auto isOver = [this] { return m_process.state() == QProcess::NotRunning; };
    const auto isReady = [this] {
        return ownsActiveWindow(pid()) && (!m_boxes || findBox()) && text().has_value();
    };
    return waitFor([&] { return isOver() || isReady(); }, milliseconds, 50) && !isOver();
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
