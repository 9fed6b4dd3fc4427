#include "platform/linux/qt/WorkInbox.h"

#include <QSocketNotifier>

namespace murlo {

void WorkInbox::push(Work work) {
    const std::lock_guard guard(m_lock);
    m_work.push_back(std::move(work));
    if (m_work.size() == 1) m_bell.ring();
}

std::unique_ptr<QSocketNotifier> WorkInbox::receive() {
    auto notifier = std::make_unique<QSocketNotifier>(m_bell.descriptor(), QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(),
                     [this] { runOne(); });
    return notifier;
}

void WorkInbox::runOne() {
    Work work;
    {
        const std::lock_guard guard(m_lock);
        if (m_work.empty()) return;
        work = std::move(m_work.front());
        m_work.pop_front();
        // The eventfd stays readable while there is work, so that a task that runs a nested event
        // loop does not block the next.
        if (m_work.empty()) m_bell.silence();
    }
    work();
}

} // namespace murlo
