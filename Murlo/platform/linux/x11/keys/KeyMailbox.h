#pragma once

#include "platform/EventTap.h"
#include "platform/Port.h"
#include "platform/linux/threads/Bell.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <variant>

namespace murlo {

/// The tap was switched off.
struct TapDisabled {};

/// A message from the reader thread to the main thread. The reader waits for the answer to a press
/// that has a question number.
struct KeyNews {
    std::variant<KeyPress, ModifierChange, TapDisabled> what;
    quint64 question = 0;
};

/// The queue from the reader thread to the main thread, and its answers. The main thread's file
/// descriptor is readable while the queue is not empty.
class KeyMailbox : NonCopyable {
public:
    /// Reader thread; never blocks.
    void post(KeyNews news);
    /// Reader thread: posts the press and blocks for the main thread's answer; empty after the
    /// timeout or when the mailbox is closed.
    [[nodiscard]] std::optional<bool> ask(const KeyPress& press, std::chrono::milliseconds limit);

    /// Main thread.
    [[nodiscard]] int descriptor() const { return m_bell.descriptor(); }
    /// Main thread: takes the oldest message; empty when there is none.
    [[nodiscard]] std::optional<KeyNews> next();
    /// Main thread: answers a question; ignored after the timeout.
    void answer(quint64 question, bool swallow);
    /// Drops all messages, wakes a waiting reader and ignores further messages. Main thread.
    void close();

private:
    void enqueue(KeyNews news);

    std::mutex m_lock;
    std::condition_variable m_answered;
    std::deque<KeyNews> m_news;
    quint64 m_question = 0;       ///< number of the last question
    std::optional<bool> m_answer; ///< to the last question
    bool m_closed = false;
    Bell m_bell;
};

} // namespace murlo
