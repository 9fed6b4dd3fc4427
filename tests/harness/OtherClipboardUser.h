#pragma once

#include "platform/Pasteboard.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryFile>

#include <csignal>

namespace murlo {

/// A second program (clipboard_user) that copies and pastes through Qt's own clipboard; it ends
/// with this object.
class OtherClipboardUser {
public:
    OtherClipboardUser() {
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        m_process.setProcessEnvironment(environment);
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(MURLO_CLIPBOARD_USER), {});
        m_process.waitForStarted();
    }
    OtherClipboardUser(const OtherClipboardUser&) = delete;
    OtherClipboardUser& operator=(const OtherClipboardUser&) = delete;
    ~OtherClipboardUser() { kill(); }

    /// Copies the formats; true once the program says that it has.
    bool copy(const PasteboardItem& item) {
        QTemporaryFile file;
        if (!file.open()) return false;
        QDataStream stream(&file);
        stream << item;
        file.flush();
        command("copy " + file.fileName().toUtf8());
        return answer() == "copied";
    }
    /// "size hash" of what a paste in this format brings; "none" if there is nothing of the kind.
    [[nodiscard]] QByteArray paste(const QString& format) {
        beginPaste(format);
        return answer();
    }
    /// Asks for a paste without waiting for the outcome.
    void beginPaste(const QString& format) { command("paste " + format.toUtf8()); }
    /// Stops the program in the middle of whatever it does, or lets it go on.
    void hang(bool hung) {
        ::kill(static_cast<pid_t>(m_process.processId()), hung ? SIGSTOP : SIGCONT);
    }
    void kill() {
        m_process.kill();
        m_process.waitForFinished();
    }

    [[nodiscard]] static QByteArray fingerprint(const QByteArray& bytes) {
        return QByteArray::number(bytes.size()) + ' ' +
               QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
    }

private:
    void command(const QByteArray& line) {
        m_process.write(line + '\n');
        m_process.waitForBytesWritten();
    }
    QByteArray answer() {
        while (!m_process.canReadLine()) {
            if (!m_process.waitForReadyRead(20000)) return "no answer";
        }
        return m_process.readLine().trimmed();
    }

    QProcess m_process;
};

} // namespace murlo
