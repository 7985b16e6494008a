#pragma once

#include <cstdint>

namespace VX::Backend
{

/// What the system says of this process; 0 where it says nothing.
struct ProcessFigures
{
    uint64_t residentBytes = 0, virtualBytes = 0;
    uint64_t descriptors = 0, mostDescriptors = 0;
    uint64_t threads = 0;
    double cpuSeconds = 0;
};

[[nodiscard]] ProcessFigures processFigures();

} // namespace VX::Backend
