#include "DeviceKinds.h"

#ifdef MURLO_MEASURE_VULKAN

#define VK_NO_PROTOTYPES
#include <vulkan/vulkan.h>

#include <dlfcn.h>

namespace {

std::string kindOf(VkPhysicalDeviceType type) {
    switch (type) {
    case VK_PHYSICAL_DEVICE_TYPE_DISCRETE_GPU:
        return "discrete";
    case VK_PHYSICAL_DEVICE_TYPE_INTEGRATED_GPU:
        return "integrated";
    case VK_PHYSICAL_DEVICE_TYPE_CPU:
        return "software";
    default:
        return "other";
    }
}

template <typename Function>
Function resolve(PFN_vkGetInstanceProcAddr find, VkInstance instance, const char* name) {
    return reinterpret_cast<Function>(find(instance, name));
}

std::vector<DeviceKind> kindsOf(PFN_vkGetInstanceProcAddr find, VkInstance instance) {
    const auto enumerate =
        resolve<PFN_vkEnumeratePhysicalDevices>(find, instance, "vkEnumeratePhysicalDevices");
    const auto properties = resolve<PFN_vkGetPhysicalDeviceProperties2>(
        find, instance, "vkGetPhysicalDeviceProperties2");
    uint32_t count = 0;
    if (!enumerate || !properties || enumerate(instance, &count, nullptr) != VK_SUCCESS) return {};
    std::vector<VkPhysicalDevice> devices(count);
    if (enumerate(instance, &count, devices.data()) < 0) return {};
    devices.resize(count);
    std::vector<DeviceKind> kinds;
    for (VkPhysicalDevice device : devices) {
        VkPhysicalDeviceDriverProperties driver{};
        driver.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_DRIVER_PROPERTIES;
        VkPhysicalDeviceProperties2 all{};
        all.sType = VK_STRUCTURE_TYPE_PHYSICAL_DEVICE_PROPERTIES_2;
        all.pNext = &driver;
        properties(device, &all);
        std::string named = driver.driverName;
        if (*driver.driverInfo) named += std::string(named.empty() ? "" : " ") + driver.driverInfo;
        kinds.push_back({all.properties.deviceName, kindOf(all.properties.deviceType), named});
    }
    return kinds;
}

} // namespace

std::vector<DeviceKind> deviceKinds() {
    // The loader is opened here and not linked, so that the program runs without it.
    void* loader = dlopen("libvulkan.so.1", RTLD_NOW | RTLD_LOCAL);
    if (!loader) return {};
    const auto find =
        reinterpret_cast<PFN_vkGetInstanceProcAddr>(dlsym(loader, "vkGetInstanceProcAddr"));
    if (!find) return {};
    const auto create = resolve<PFN_vkCreateInstance>(find, nullptr, "vkCreateInstance");
    VkApplicationInfo application{};
    application.sType = VK_STRUCTURE_TYPE_APPLICATION_INFO;
    application.apiVersion = VK_API_VERSION_1_2; // the least that ggml takes
    VkInstanceCreateInfo wanted{};
    wanted.sType = VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO;
    wanted.pApplicationInfo = &application;
    VkInstance instance = nullptr;
    if (!create || create(&wanted, nullptr, &instance) != VK_SUCCESS) return {};
    std::vector<DeviceKind> kinds = kindsOf(find, instance);
    const auto destroy = resolve<PFN_vkDestroyInstance>(find, instance, "vkDestroyInstance");
    if (destroy) destroy(instance, nullptr);
    return kinds;
}

#else

std::vector<DeviceKind> deviceKinds() {
    return {};
}

#endif
