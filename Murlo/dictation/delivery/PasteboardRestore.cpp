#include "dictation/delivery/PasteboardRestore.h"

#include "support/Log.h"

#include <algorithm>

namespace murlo {

PasteboardRestore::PasteboardRestore(Pasteboard& pasteboard)
    : m_pasteboard(pasteboard) {
    QObject::connect(&m_pasteboard, &Pasteboard::changed, &m_context, [this] {
        if (m_prepared > 0) refresh();
    });
}

PasteboardRestore::~PasteboardRestore() {
    giveBack();
}

std::shared_ptr<void> PasteboardRestore::prepare() {
    ++m_prepared;
    refresh();
    return {nullptr, m_lifetime.guard([this](void*) { release(); })};
}

void PasteboardRestore::release() {
    if (--m_prepared > 0) return;
    m_reading.reset();
    m_former.reset();
}

void PasteboardRestore::refresh() {
    const qint64 count = m_pasteboard.changeCount();
    if (m_lentCount == count) return; // our own lent text must not be kept
    if (!m_reading || m_reading->changeCount() != count) {
        m_reading = m_pasteboard.read();
        m_former.reset();
    } else if (m_reading->isComplete() && !m_reading->snapshot().unread.isEmpty()) {
        // Formats that the owner did not deliver in time may arrive now.
        m_former = std::exchange(m_reading, m_pasteboard.read());
    }
}

bool PasteboardRestore::lend(const QString& text) {
    refresh();
    m_kept = std::exchange(m_reading, nullptr);
    m_keptFormer = std::exchange(m_former, nullptr);
    const bool hadText = !m_kept || !m_kept->lacksText();
    m_lentCount = m_pasteboard.lendString(text);
    return hadText;
}

void PasteboardRestore::giveBack() {
    const auto lentCount = std::exchange(m_lentCount, std::nullopt);
    const auto kept = std::exchange(m_kept, nullptr);
    const auto former = std::exchange(m_keptFormer, nullptr);
    if (!lentCount || !kept || m_pasteboard.changeCount() != *lentCount) return;
    PasteboardSnapshot snapshot = kept->snapshot();
    if (former) {
        const PasteboardSnapshot earlier = former->snapshot();
        if (earlier.unread.size() < snapshot.unread.size()) snapshot = earlier;
    }
    if (!snapshot.unread.isEmpty())
        Log::write(QStringLiteral("insert: %1 formats of the clipboard could not be kept")
                       .arg(snapshot.unread.size()));
    m_pasteboard.write(snapshot);
}

} // namespace murlo
