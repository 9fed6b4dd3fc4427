#include "Options.h"

#include <sched.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

const char* const help =
    R"(murlo-measure: how fast this machine runs the speech engine

It times the matrix products of the encoder with the engine's own libraries, on the processor and on
every GPU that whisper-server would use, for about a second on each.

  --threads N    threads of the processor (default: the processors that this process may use)
  --seconds S    about the time for each device, 0.05 to 60 (default: 1); a GPU's first use, in which
                 its driver compiles programs, comes on top
  --device N     that GPU alone, counted as whisper-server's --device counts them
  --cpu-only     the processor alone; no GPU's driver is loaded
  --list         name the devices and measure nothing
  --help

Standard output has one JSON object a line, each written at once, the processor's first and before
any GPU's driver is loaded: a driver that crashes or hangs takes nothing away that was known before.
Figures that are not known are left out.

  {"event":"device", ...}   a device, before it is measured
      device        its number for whisper-server's --device; -1 is the processor (--no-gpu)
      name          ggml's name for it, such as "CPU" or "Vulkan0"
      description   the maker's name for it
      kind          "cpu", "discrete", "integrated", "software" (a GPU that the processor imitates)
                    or "other"
      driver        of a GPU, name and version; of the processor the library that was chosen for it
      threads       of the processor
      memory_free, memory_total   bytes; an integrated GPU's are the machine's
  {"event":"speed", ...}    what was measured on it
      device        as above
      gflops        thousand million operations in a second, by weight type ("f16", "q5_0", "q5_1",
                    "q8_0"), then by width ("384", "512", "768", "1024", "1280")
      layer_ns      nanoseconds that one layer of the encoder takes for each unit of its width beside
                    the products that gflops tells of (attention, normalisation and the rest);
                    left out where the device cannot do all of it
      share         of the processor: what its threads were given of the time in which they
                    computed, 0 to 1; below 0.9 the machine was busy and the figures are too low
      first_seconds the first product's time on a GPU, which includes compiling
      seconds       that the measurement took in all
  {"event":"failed", ...}   it could not be measured
      device        as above
      reason        in English

The exit status is 0 when something was measured (with --list: named), 1 when nothing was, 2 when the
command line is wrong. A GPU is skipped by the engine, and here, when it is only software;
GGML_VK_VISIBLE_DEVICES=0 (Vulkan's own numbers, with commas) names devices that are used whatever
they are. GGML_DISABLE_VULKAN=1 is --cpu-only for every program of the engine.
)";

[[noreturn]] void refuse(const char* option, const char* wanted) {
    std::fprintf(stderr, "murlo-measure: %s needs %s; see --help\n", option, wanted);
    std::exit(2);
}

double numberOf(const char* option, const char* text, double least, double most,
                const char* wanted) {
    char* end = nullptr;
    const double value = text ? std::strtod(text, &end) : 0;
    if (!text || end == text || *end || !(value >= least && value <= most)) refuse(option, wanted);
    return value;
}

int wholeOf(const char* option, const char* text, int least, int most, const char* wanted) {
    const double value = numberOf(option, text, least, most, wanted);
    if (value != std::floor(value)) refuse(option, wanted);
    return static_cast<int>(value);
}

int processors() {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    // Fails on machines with more than 1024 processors, of which a few do.
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) return 16;
    return CPU_COUNT(&allowed);
}

} // namespace

Options parseOptions(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const char* option = argv[i];
        const auto is = [option](const char* name) { return std::strcmp(option, name) == 0; };
        const auto value = [&] { return i + 1 < argc ? argv[++i] : nullptr; };
        if (is("--help") || is("-h")) {
            std::fputs(help, stdout);
            std::exit(0);
        } else if (is("--threads")) {
            options.threads = wholeOf(option, value(), 1, 512, "a number from 1 to 512");
        } else if (is("--seconds")) {
            options.seconds = numberOf(option, value(), 0.05, 60, "a number from 0.05 to 60");
        } else if (is("--device")) {
            options.device = wholeOf(option, value(), 0, 63, "a number from 0 to 63");
        } else if (is("--cpu-only")) {
            options.cpuOnly = true;
        } else if (is("--list")) {
            options.listOnly = true;
        } else {
            std::fprintf(stderr, "murlo-measure: unknown option %s; see --help\n", option);
            std::exit(2);
        }
    }
    if (options.cpuOnly && options.device >= 0) refuse("--cpu-only", "no --device beside it");
    if (options.threads == 0) options.threads = processors();
    return options;
}
