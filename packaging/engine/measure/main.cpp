#include "DeviceKinds.h"
#include "Json.h"
#include "Options.h"
#include "Timing.h"

#include "ggml-backend.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>

namespace {

constexpr int processorNumber = -1;

void complain(ggml_log_level level, const char* text, void*) {
    if (level >= GGML_LOG_LEVEL_WARN) std::fputs(text, stderr);
}

/// The file that the processor's code was loaded from, which names the processor that it was made
/// for.
std::string libraryOf(ggml_backend_dev_t device) {
    void* function = ggml_backend_reg_get_proc_address(ggml_backend_dev_backend_reg(device),
                                                       "ggml_backend_get_features");
    Dl_info info{};
    if (!function || dladdr(function, &info) == 0 || !info.dli_fname) return {};
    const std::string path = info.dli_fname;
    const std::string name = path.substr(path.rfind('/') + 1);
    return name.rfind("lib", 0) == 0 ? name : std::string();
}

bool isGpu(ggml_backend_dev_t device) {
    const enum ggml_backend_dev_type type = ggml_backend_dev_type(device);
    return type == GGML_BACKEND_DEVICE_TYPE_GPU || type == GGML_BACKEND_DEVICE_TYPE_IGPU;
}

void announce(ggml_backend_dev_t device, int number, const DeviceKind& kind, int threads) {
    ggml_backend_dev_props properties{};
    ggml_backend_dev_get_props(device, &properties);
    JsonObject line;
    line.text("event", "device").integer("device", number).text("name", properties.name);
    line.text("description", properties.description).text("kind", kind.kind);
    if (!kind.driver.empty()) line.text("driver", kind.driver);
    if (number == processorNumber) line.integer("threads", threads);
    line.integer("memory_free", static_cast<long long>(properties.memory_free));
    line.integer("memory_total", static_cast<long long>(properties.memory_total));
    print(line);
}

/// Measures a device and tells of it; whether it could be measured.
bool report(ggml_backend_dev_t device, int number, const Options& options) {
    try {
        const Speed speed = measure(device, options.threads, options.seconds);
        JsonObject gflops;
        for (const auto& [type, byWidth] : speed.gflops) {
            JsonObject figures;
            for (const auto& [width, figure] : byWidth)
                figures.number(std::to_string(width), figure);
            gflops.object(type, figures);
        }
        JsonObject line;
        line.text("event", "speed").integer("device", number).object("gflops", gflops);
        if (speed.layerNanoseconds > 0) line.number("layer_ns", speed.layerNanoseconds);
        if (isGpu(device))
            line.number("first_seconds", speed.firstSeconds);
        else
            line.number("share", speed.processorShare);
        line.number("seconds", speed.seconds);
        print(line);
        return true;
    } catch (const std::exception& error) {
        JsonObject line;
        line.text("event", "failed").integer("device", number).text("reason", error.what());
        print(line);
        return false;
    }
}

bool processorPart(const Options& options) {
    // Loaded without the GPUs' drivers, so that its figures are out before one of them can crash.
    const char* before = std::getenv("GGML_DISABLE_VULKAN");
    setenv("GGML_DISABLE_VULKAN", "1", 1);
    ggml_backend_load_all();
    if (!before && !options.cpuOnly) unsetenv("GGML_DISABLE_VULKAN");
    ggml_backend_dev_t device = ggml_backend_dev_by_type(GGML_BACKEND_DEVICE_TYPE_CPU);
    if (!device) {
        std::fputs("murlo-measure: there is no library for this processor\n", stderr);
        return false;
    }
    announce(device, processorNumber, {{}, "cpu", libraryOf(device)}, options.threads);
    return options.listOnly || report(device, processorNumber, options);
}

bool gpuPart(const Options& options) {
    ggml_backend_load_all();
    std::vector<ggml_backend_dev_t> devices;
    for (size_t i = 0; i < ggml_backend_dev_count(); ++i) {
        if (isGpu(ggml_backend_dev_get(i))) devices.push_back(ggml_backend_dev_get(i));
    }
    const std::vector<DeviceKind> kinds =
        devices.empty() ? std::vector<DeviceKind>{} : deviceKinds();
    bool done = false;
    for (size_t i = 0; i < devices.size(); ++i) {
        const int number = static_cast<int>(i);
        if (options.device >= 0 && options.device != number) continue;
        const std::string name = ggml_backend_dev_description(devices[i]);
        const auto kind = std::find_if(kinds.begin(), kinds.end(),
                                       [&](const DeviceKind& each) { return each.name == name; });
        announce(devices[i], number, kind != kinds.end() ? *kind : DeviceKind{name, "other", {}},
                 options.threads);
        if (options.listOnly || report(devices[i], number, options)) done = true;
    }
    if (options.device >= 0 && !done)
        std::fprintf(stderr, "murlo-measure: nothing was measured on GPU %d\n", options.device);
    return done;
}

} // namespace

int main(int argc, char** argv) {
    const Options options = parseOptions(argc, argv);
    ggml_log_set(complain, nullptr);
    bool done = false;
    if (options.device < 0) done = processorPart(options);
    if (!options.cpuOnly && gpuPart(options)) done = true;
    return done ? 0 : 1;
}
