#include "ListenQueue.h"

#include <array>
#include <linux/filter.h>
#include <poll.h>
#include <sys/socket.h>

namespace murlo::backend {

void turnAwayFurther(int socket) {
    // The filter sees a segment from its TCP header on (RFC 9293, 3.1).
    constexpr unsigned flags = 13; // the byte's place
    constexpr unsigned syn = 0x02;
    constexpr unsigned ack = 0x10;
    constexpr unsigned whole = 0xFFFFFFFF;
    std::array<sock_filter, 5> steps{{
        BPF_STMT(BPF_LD | BPF_B | BPF_ABS, flags),
        BPF_STMT(BPF_ALU | BPF_AND | BPF_K, syn | ack),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, syn, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, 0),
        BPF_STMT(BPF_RET | BPF_K, whole),
    }};
    const sock_fprog program{static_cast<unsigned short>(steps.size()), steps.data()};
    (void)::setsockopt(socket, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program);
}

bool hasWaiting(int socket) {
    pollfd question{socket, POLLIN, 0};
    return ::poll(&question, 1, 0) == 1 && (question.revents & POLLIN) != 0;
}

} // namespace murlo::backend
