#include "tests/harness/OtherClipboardUser.h"

#include <QDataStream>
#include <QProcessEnvironment>
#include <QTemporaryFile>

#include <csignal>

namespace murlo {

OtherClipboardUser::OtherClipboardUser(const QString& program) {
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    m_process.setProcessEnvironment(environment);
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(program, {});
    m_process.waitForStarted();
}

OtherClipboardUser::~OtherClipboardUser() {
    kill();
}

QByteArray OtherClipboardUser::command(const QByteArray& line) {
    m_process.write(line + '\n');
    while (!m_process.canReadLine()) {
        if (!m_process.waitForReadyRead(20000)) return "no answer";
    }
    return m_process.readLine().trimmed();
}

bool OtherClipboardUser::copy(const PasteboardItem& item) {
    QTemporaryFile file;
    if (!file.open()) return false;
    QDataStream stream(&file);
    stream << item;
    file.flush();
    return command("copy " + file.fileName().toUtf8()) == "copied";
}

QByteArray OtherClipboardUser::paste(const QString& format) {
    return command("paste " + format.toUtf8());
}

void OtherClipboardUser::beginPaste(const QString& format) {
    m_process.write("paste " + format.toUtf8() + '\n');
    m_process.waitForBytesWritten();
}

void OtherClipboardUser::hang(bool hung) {
    ::kill(static_cast<pid_t>(m_process.processId()), hung ? SIGSTOP : SIGCONT);
}

void OtherClipboardUser::kill() {
    m_process.kill();
    m_process.waitForFinished();
}

} // namespace murlo
