#include "platform/linux/x11/clipboard/X11Pasteboard.h"

#include "platform/linux/x11/clipboard/ClipboardThread.h"

#include <QMetaObject>

namespace murlo {

X11Pasteboard::X11Pasteboard()
    : m_thread(std::make_unique<ClipboardThread>([this] {
        QMetaObject::invokeMethod(
            &m_context, [this] { Q_EMIT changed(); }, Qt::QueuedConnection);
    })) {}

X11Pasteboard::~X11Pasteboard() = default;

qint64 X11Pasteboard::changeCount() const {
    return m_thread->changeCount();
}

qint64 X11Pasteboard::setString(const QString& text) {
    return m_thread->own(std::make_shared<const ClipboardContent>(ClipboardContent::text(text)));
}

qint64 X11Pasteboard::lendString(const QString& text) {
    return m_thread->own(std::make_shared<const ClipboardContent>(ClipboardContent::lent(text)));
}

void X11Pasteboard::write(const PasteboardSnapshot& snapshot) {
    auto content = ClipboardContent::restored(snapshot);
    m_thread->own(content.formats.isEmpty()
                      ? nullptr
                      : std::make_shared<const ClipboardContent>(std::move(content)));
}

std::shared_ptr<PasteboardReading> X11Pasteboard::read() {
    return m_thread->read();
}

} // namespace murlo
