#pragma once

#include "platform/Port.h"

#include <sys/eventfd.h>
#include <unistd.h>

namespace murlo {

/// An eventfd that wakes a thread which polls file descriptors. `ring` from any thread; `silence`
/// on the polling one.
class Bell : NonCopyable {
public:
    Bell()
        : m_descriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}
    ~Bell() { ::close(m_descriptor); }

    /// The file descriptor, readable after `ring` until `silence`.
    [[nodiscard]] int descriptor() const { return m_descriptor; }
    void ring() const { eventfd_write(m_descriptor, 1); }
    void silence() const {
        eventfd_t count = 0;
        eventfd_read(m_descriptor, &count);
    }

private:
    const int m_descriptor;
};

} // namespace murlo
