#include "platform/linux/pulse/PulseSourceCheck.h"

#include <algorithm>
#include <utility>

namespace murlo {

bool isMicrophone(const std::vector<PulseSource>& sources, std::uint32_t index,
                  const std::string& defaultSource) {
    const auto source = std::ranges::find(sources, index, &PulseSource::index);
    if (source == sources.end()) return false;
    if (!source->isMonitor) return true;
    if (source->name != defaultSource) return false;
    const bool isVirtual = !source->isHardware && source->name != "auto_null.monitor";
    return isVirtual || !std::ranges::all_of(sources, &PulseSource::isMonitor);
}

void PulseSourceCheck::ask(pa_context* context, std::uint32_t index,
                           std::function<void(bool)> answered) {
    cancel();
    m_index = index;
    m_answered = std::move(answered);
    m_sources.clear();
    m_defaultSource.clear();
    // The server answers requests in order.
    const auto onServer = [](pa_context*, const pa_server_info* server, void* check) {
        if (server == nullptr || server->default_source_name == nullptr) return;
        static_cast<PulseSourceCheck*>(check)->m_defaultSource = server->default_source_name;
    };
    const auto onSource = [](pa_context*, const pa_source_info* source, int end, void* check) {
        auto& self = *static_cast<PulseSourceCheck*>(check);
        if (end != 0 || source == nullptr) return self.finish();
        self.m_sources.push_back({source->index, source->name,
                                  source->monitor_of_sink != PA_INVALID_INDEX,
                                  source->card != PA_INVALID_INDEX});
    };
    m_serverOperation = pa_context_get_server_info(context, onServer, this);
    m_listOperation = pa_context_get_source_info_list(context, onSource, this);
    if (m_listOperation == nullptr) finish();
}

void PulseSourceCheck::finish() {
    const auto answered = std::exchange(m_answered, {});
    const bool answer = isMicrophone(m_sources, m_index, m_defaultSource);
    cancel();
    if (answered) answered(answer);
}

void PulseSourceCheck::cancel() {
    m_answered = {};
    for (pa_operation** operation : {&m_serverOperation, &m_listOperation}) {
        if (*operation == nullptr) continue;
        pa_operation_cancel(*operation);
        pa_operation_unref(*operation);
        *operation = nullptr;
    }
}

} // namespace murlo
