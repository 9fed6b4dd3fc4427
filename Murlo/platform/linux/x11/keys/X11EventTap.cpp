#include "platform/linux/x11/keys/X11EventTap.h"

#include "support/SessionKind.h"

#include "platform/linux/x11/keys/KeyReader.h"

namespace murlo {

X11EventTap::X11EventTap(std::shared_ptr<SyntheticKeys> synthetic)
    : m_synthetic(std::move(synthetic)) {}

X11EventTap::~X11EventTap() {
    remove();
}

bool X11EventTap::install(Handlers handlers) {
    remove();
    m_handlers = std::make_shared<const Handlers>(std::move(handlers));
    if (startReader()) return true;
    remove();
    return false;
}

bool X11EventTap::startReader() {
    m_mailbox = std::make_shared<KeyMailbox>();
    m_reader = std::make_unique<KeyReader>(m_synthetic, m_mailbox);
    if (!m_reader->isUsable()) return false;
    // Deleted with deleteLater(), because it may be removed from inside its own signal.
    m_notifier.reset(new QSocketNotifier(m_mailbox->descriptor(), QSocketNotifier::Read));
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                     [this] { deliver(); });
    m_reader->start();
    return true;
}

void X11EventTap::remove() {
    if (m_mailbox) m_mailbox->close();
    if (m_notifier) {
        m_notifier->setEnabled(false);
        m_notifier.release()->deleteLater();
    }
    m_reader.reset();
    m_mailbox.reset();
    m_handlers.reset();
    m_filtering = false;
}

void X11EventTap::deliver() {
    // Handlers may remove or destroy the tap: keep what this loop needs alive.
    const auto mailbox = m_mailbox;
    const auto handlers = m_handlers;
    while (const auto news = mailbox->next()) {
        if (const auto* press = std::get_if<KeyPress>(&news->what)) {
            const bool swallow = handlers->keyDown && handlers->keyDown(*press);
            if (news->question) mailbox->answer(news->question, swallow);
        } else if (const auto* change = std::get_if<ModifierChange>(&news->what)) {
            if (handlers->flagsChanged) handlers->flagsChanged(*change);
        } else if (handlers->disabled) {
            handlers->disabled();
        }
    }
}

void X11EventTap::enable() {
    if (!m_reader) return;
    if (m_reader->isRunning()) {
        m_reader->refresh();
        m_reader->setFiltering(m_filtering);
        return;
    }
    // The reader ends when the connection to the server is lost: start a new one.
    const bool filtering = m_filtering;
    const auto handlers = m_handlers;
    install(*handlers);
    setFiltering(filtering);
}

void X11EventTap::setFiltering(bool filtering) {
    m_filtering = filtering;
    if (m_reader) m_reader->setFiltering(filtering);
}

InputMonitoringAccess X11EventTap::access() const {
    if (isWaylandSession()) return InputMonitoringAccess::denied;
    if (m_reader && m_reader->isRunning()) return InputMonitoringAccess::granted;
    const XcbConnection connection;
    return InputDevices::prepare(connection) ? InputMonitoringAccess::granted
                                             : InputMonitoringAccess::denied;
}

} // namespace murlo
