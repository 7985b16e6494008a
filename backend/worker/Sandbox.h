#pragma once

#include <cstdint>
#include <string>

namespace VX::Backend
{

/// A sanitizer's shadow memory is larger than any sensible limit of the address space.
#if defined( __SANITIZE_ADDRESS__ ) || defined( __SANITIZE_THREAD__ )
inline constexpr bool cLimitsMemory = false;
#else
inline constexpr bool cLimitsMemory = true;
#endif

struct SandboxLimits
{
    uint64_t memory = 0;     ///< bytes of address space
    uint64_t outputSize = 0; ///< bytes of any one file
    uint64_t cpuSeconds = 0; ///< of all threads together
};

/// Takes from this process what reading a file does not need: limits on memory, time, files and core dumps, no new
/// privileges, and a filter under which other system calls fail. The error says what could not be taken.
[[nodiscard]] std::string enterSandbox( const SandboxLimits& limits );

} // namespace VX::Backend
