#pragma once

#include "platform/Port.h"

#include <csignal>
#include <sys/resource.h>

namespace murlo {

/// While it lives no file grows beyond so many bytes, as on a disk that gets full.
class FullDisk : NonCopyable {
public:
    explicit FullDisk(rlim_t bytes) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_before);
        limit(bytes);
    }
    ~FullDisk() { limit(m_before.rlim_cur); }

private:
    void limit(rlim_t bytes) const {
        const rlimit limits{bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limits);
    }
    rlimit m_before{};
};

} // namespace murlo
