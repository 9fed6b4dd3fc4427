// A GPU's driver, as Vulkan's loader opens it, that crashes when a program begins to use it. It
// leaves a file behind, whose path is in the environment.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

using Function = void (*)();

void createInstance() {
    if (const char* path = std::getenv("MURLO_DRIVER_CRASHED"))
        if (std::FILE* file = std::fopen(path, "w")) std::fclose(file);
    std::abort();
}

/// There are none.
std::int32_t enumerateExtensions(const char*, std::uint32_t* count, void*) {
    *count = 0;
    return 0;
}

} // namespace

extern "C" {

[[gnu::visibility("default")]] std::int32_t
vk_icdNegotiateLoaderICDInterfaceVersion(std::uint32_t* version) {
    *version = 5;
    return 0;
}

[[gnu::visibility("default")]] Function vk_icdGetInstanceProcAddr(void*, const char* name) {
    if (std::strcmp(name, "vkCreateInstance") == 0) return createInstance;
    if (std::strcmp(name, "vkEnumerateInstanceExtensionProperties") == 0)
        return reinterpret_cast<Function>(enumerateExtensions);
    return nullptr;
}
}
