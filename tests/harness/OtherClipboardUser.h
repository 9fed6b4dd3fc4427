#pragma once

#include "platform/Pasteboard.h"

#include <QCryptographicHash>
#include <QProcess>

namespace murlo {

/// A second program (clipboard_user) that copies and pastes through Qt's own clipboard.
class OtherClipboardUser {
public:
    /// Starts the executable; it ends with this object.
    explicit OtherClipboardUser(const QString& program);
    OtherClipboardUser(const OtherClipboardUser&) = delete;
    OtherClipboardUser& operator=(const OtherClipboardUser&) = delete;
    ~OtherClipboardUser();

    /// Copies the formats; true once the program says that it has.
    bool copy(const PasteboardItem& item);
    /// "size hash" of what a paste in this format brings; "none" if there is nothing of the kind.
    [[nodiscard]] QByteArray paste(const QString& format);
    /// Asks for a paste without waiting for the outcome.
    void beginPaste(const QString& format);
    /// Stops the program in the middle of whatever it does, or lets it go on.
    void hang(bool hung);
    void kill();

    [[nodiscard]] static QByteArray fingerprint(const QByteArray& bytes) {
        return QByteArray::number(bytes.size()) + ' ' +
               QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
    }

private:
    QByteArray command(const QByteArray& line);

    QProcess m_process;
};

} // namespace murlo
