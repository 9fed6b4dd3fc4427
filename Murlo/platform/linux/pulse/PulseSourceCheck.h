#pragma once

#include "platform/Port.h"

#include <pulse/pulseaudio.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace murlo {

/// The properties of a sound server's source that tell whether it is a microphone.
struct PulseSource {
    std::uint32_t index = PA_INVALID_INDEX;
    std::string name;
    bool isMonitor = false;  ///< it records what a sink plays
    bool isHardware = false; ///< belongs to a sound card
};

/// Whether recording from the source `index` records a microphone. A monitor does not, unless it
/// was chosen as the default source and is not just the last one left. It was chosen if a real
/// source could have been the default; this is also assumed for the monitor of a virtual sink other
/// than "auto_null", which the server creates when no device is left.
[[nodiscard]] bool isMicrophone(const std::vector<PulseSource>& sources, std::uint32_t index,
                                const std::string& defaultSource);

/// An asynchronous query whether a source is a microphone. Use it under the connection's lock;
/// destroying it cancels the query.
class PulseSourceCheck : NonCopyable {
public:
    ~PulseSourceCheck() { cancel(); }

    /// Calls `answered` on the connection's thread, with false for an unknown source. Replaces a
    /// pending query.
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
