#include "support/ui/AllocationCount.h"

#include <cstdlib>
#include <new>

namespace
{

thread_local uint64_t tCount = 0;

} // namespace

namespace VX::Testing
{

uint64_t allocationCount()
{
    return tCount;
}

} // namespace VX::Testing

#if !defined( __SANITIZE_ADDRESS__ ) && !defined( __SANITIZE_THREAD__ )

namespace
{

void* countedAllocation( std::size_t size, std::size_t alignment )
{
    ++tCount;
    void* out = alignment > alignof( std::max_align_t )
                    ? std::aligned_alloc( alignment, ( size + alignment - 1 ) / alignment * alignment )
                    : std::malloc( size > 0 ? size : 1 );
    if ( !out )
        throw std::bad_alloc();
    return out;
}

} // namespace

// The forms of the standard library that are not here call these.
void* operator new( std::size_t size )
{
    return countedAllocation( size, 1 );
}
void* operator new( std::size_t size, std::align_val_t alignment )
{
    return countedAllocation( size, std::size_t( alignment ) );
}
void operator delete( void* pointer ) noexcept
{
    std::free( pointer );
}
void operator delete( void* pointer, std::size_t ) noexcept
{
    std::free( pointer );
}
void operator delete( void* pointer, std::align_val_t ) noexcept
{
    std::free( pointer );
}
void operator delete( void* pointer, std::size_t, std::align_val_t ) noexcept
{
    std::free( pointer );
}

#endif
