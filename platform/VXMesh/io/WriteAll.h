#pragma once

#include <cerrno>
#include <cstddef>
#include <span>

#include <unistd.h>

namespace VX
{

/// Writes to a file, pipe or socket until it has taken all bytes: 0, or the error number of the call that failed, which
/// stands in errno too.
[[nodiscard]] inline int writeAll( int fd, std::span<const std::byte> bytes )
{
    while ( !bytes.empty() )
    {
        const ssize_t n = ::write( fd, bytes.data(), bytes.size() );
        if ( n < 0 && errno == EINTR )
            continue;
        if ( n < 0 )
            return errno;
        bytes = bytes.subspan( size_t( n ) );
    }
    return 0;
}

} // namespace VX
