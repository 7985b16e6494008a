#pragma once

#include <cstdint>

namespace VX::Testing
{

/// Whether this build counts what is allocated with `new`; a sanitizer's own allocator leaves no room for that.
#if defined( __SANITIZE_ADDRESS__ ) || defined( __SANITIZE_THREAD__ )
inline constexpr bool cCountsAllocations = false;
#else
inline constexpr bool cCountsAllocations = true;
#endif

/// How often this thread has called `new` in any of its forms, in this program and its libraries.
[[nodiscard]] uint64_t allocationCount();

} // namespace VX::Testing
