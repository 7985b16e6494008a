#include "http/Descriptors.h"

#include <algorithm>

#include <sys/resource.h>

namespace VX::Backend
{

size_t raiseDescriptorLimit()
{
    rlimit limit{};
    if ( ::getrlimit( RLIMIT_NOFILE, &limit ) != 0 )
        return 0;
    const rlimit raised{ limit.rlim_max, limit.rlim_max };
    return size_t( ::setrlimit( RLIMIT_NOFILE, &raised ) == 0 ? raised.rlim_cur : limit.rlim_cur );
}

size_t connectionsFor( size_t descriptors )
{
    // Each takes some 50 kB of memory.
    constexpr size_t cReserve = 256, cLeast = 16, cMost = 4096;
    return std::clamp( ( std::max( descriptors, cReserve ) - cReserve ) / 2, cLeast, cMost );
}

} // namespace VX::Backend
