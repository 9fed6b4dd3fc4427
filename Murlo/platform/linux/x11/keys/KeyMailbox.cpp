#include "platform/linux/x11/keys/KeyMailbox.h"

namespace murlo {

void KeyMailbox::enqueue(KeyNews news) {
    if (m_closed) return;
    m_news.push_back(std::move(news));
    if (m_news.size() == 1) m_bell.ring();
}

void KeyMailbox::post(KeyNews news) {
    const std::lock_guard guard(m_lock);
    enqueue(std::move(news));
}

std::optional<bool> KeyMailbox::ask(const KeyPress& press, std::chrono::milliseconds limit) {
    std::unique_lock lock(m_lock);
    m_answer.reset();
    enqueue({press, ++m_question});
    m_answered.wait_for(lock, limit, [this] { return m_answer || m_closed; });
    ++m_question; // makes a late answer invalid
    return m_answer;
}

std::optional<KeyNews> KeyMailbox::next() {
    const std::lock_guard guard(m_lock);
    if (m_news.empty()) {
        m_bell.silence();
        return std::nullopt;
    }
    KeyNews news = std::move(m_news.front());
    m_news.pop_front();
    return news;
}

void KeyMailbox::answer(quint64 question, bool swallow) {
    const std::lock_guard guard(m_lock);
    if (question != m_question) return;
    m_answer = swallow;
    m_answered.notify_one();
}

void KeyMailbox::close() {
    const std::lock_guard guard(m_lock);
    m_closed = true;
    m_news.clear();
    m_answered.notify_one();
}

} // namespace murlo
