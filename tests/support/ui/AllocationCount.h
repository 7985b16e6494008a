#pragma once

#include <VXMesh/system/Sanitizer.h>

#include <cstdint>

namespace VX::Testing
{

/// Whether this build counts what is allocated with `new`; a sanitizer's own allocator leaves no room for that.
inline constexpr bool cCountsAllocations = !cHasSanitizer;

/// How often this thread has called `new` in any of its forms, in this program and its libraries.
[[nodiscard]] uint64_t allocationCount();

} // namespace VX::Testing
