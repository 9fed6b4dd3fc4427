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

/// What the reader thread tells the main thread. A press with a question number waits for an
/// answer.
struct KeyNews {
    std::variant<KeyPress, ModifierChange, TapDisabled> what;
    quint64 question = 0;
};

/// The way from the reader thread to the main thread and back. The descriptor of the main thread's
/// side is readable while something is there.
class KeyMailbox : NonCopyable {
public:
    /// Reader thread: never waits.
    void post(KeyNews news);
    /// Reader thread: offers the press and waits for the main thread's answer; nothing when none
    /// came within the time or the mailbox was closed.
    [[nodiscard]] std::optional<bool> ask(const KeyPress& press, std::chrono::milliseconds limit);

    /// Main thread.
    [[nodiscard]] int descriptor() const { return m_bell.descriptor(); }
    /// Main thread: the oldest news; nothing when all are taken.
    [[nodiscard]] std::optional<KeyNews> next();
    /// Main thread: answers a question; too late has no effect.
    void answer(quint64 question, bool swallow);
    /// Drops what is there and ends any waiting; nothing is taken in from now on. Main thread.
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
