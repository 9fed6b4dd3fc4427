#pragma once

#include "ggml-backend.h"

#include <map>
#include <string>

/// What a device was measured to do.
struct Speed {
    /// Thousand million operations in a second, by weight type ("q5_0") and width.
    std::map<std::string, std::map<int, double>> gflops;
    /// Of a layer's other work, for each unit of width; 0 where the device cannot do all of it.
    double layerNanoseconds = 0;
    double firstSeconds = 0;   ///< the first product on this device
    double processorShare = 0; ///< of its threads' time that a processor gave them, 0 to 1
    double seconds = 0;        ///< of the whole measurement
};

/// Times products of the encoder's shapes, and one of its layers without them, on a device.
/// @param threads of a processor; no matter to a GPU
/// @param seconds that it may take, about; slow devices are given fewer frames, not more time
/// @throws std::exception when the device cannot be used
Speed measure(ggml_backend_dev_t device, int threads, double seconds);
