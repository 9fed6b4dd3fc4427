#pragma once

#include "platform/Port.h"

#include <pulse/pulseaudio.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace murlo {

/// One source of the sound server, as far as it matters for telling microphones apart.
struct PulseSource {
    std::uint32_t index = PA_INVALID_INDEX;
    std::string name;
    bool isMonitor = false;  ///< what a sink plays
    bool isHardware = false; ///< belongs to a sound card
};

/// Whether recording from the source `index` records a microphone. A monitor does not, except where
/// it stands for one: it is the default source, and not merely because nothing else is there. That
/// it was chosen is clear when a real source could have been the default, and assumed of the
/// monitor of a virtual sink other than "auto_null", which the server makes up when no device is
/// left.
[[nodiscard]] bool isMicrophone(const std::vector<PulseSource>& sources, std::uint32_t index,
                                const std::string& defaultSource);

/// The question to the server whether a source is a microphone. Use it under the connection's lock;
/// destroying it drops the question.
class PulseSourceCheck : NonCopyable {
public:
    ~PulseSourceCheck() { cancel(); }

    /// Calls `answered` on the connection's thread; a source that is not there is none. Replaces a
    /// question that is still open.
    void ask(pa_context* context, std::uint32_t index, std::function<void(bool)> answered);
    void cancel();

private:
    void finish();

    pa_operation* m_serverOperation = nullptr;
    pa_operation* m_listOperation = nullptr;
    std::function<void(bool)> m_answered;
    std::uint32_t m_index = PA_INVALID_INDEX;
    std::string m_defaultSource;
    std::vector<PulseSource> m_sources;
};

} // namespace murlo
