#pragma once

namespace VX
{

/// Whether this build carries a sanitizer: one has an allocator of its own, and shadow memory larger than any sensible
/// limit of the address space.
#if defined( __SANITIZE_ADDRESS__ ) || defined( __SANITIZE_THREAD__ )
inline constexpr bool cHasSanitizer = true;
#else
inline constexpr bool cHasSanitizer = false;
#endif

} // namespace VX
