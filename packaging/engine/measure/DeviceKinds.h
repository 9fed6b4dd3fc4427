#pragma once

#include <string>
#include <vector>

/// What Vulkan says of a device beyond what ggml repeats.
struct DeviceKind {
    std::string name; ///< as ggml describes the device
    std::string kind; ///< "discrete", "integrated", "software" (drawn by the processor) or "other"
    std::string driver; ///< name and version, empty where the driver does not say
};

/// All of this machine's Vulkan devices, none where there is no Vulkan loader, no driver, or where
/// this program was built without Vulkan. Loads drivers: one that crashes takes the process with
/// it.
std::vector<DeviceKind> deviceKinds();
