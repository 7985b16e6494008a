#pragma once

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>

namespace VX::Testing
{

/// The bytes of a number in an order.
template <typename T>
[[nodiscard]] std::string bytesOf( T value, std::endian order = std::endian::native )
{
    std::string out( sizeof( T ), '\0' );
    std::memcpy( out.data(), &value, sizeof value );
    if ( order != std::endian::native )
        std::reverse( out.begin(), out.end() );
    return out;
}

/// Puts the bytes of a number at a place.
template <typename T>
void put( std::string& bytes, size_t offset, T value, std::endian order = std::endian::native )
{
    bytes.replace( offset, sizeof( T ), bytesOf( value, order ) );
}

/// The numbers from 0 on of `numberAt` for each place of a volume of this size, as a file has them.
template <typename T, typename Number>
[[nodiscard]] std::string voxelBytes( size_t count, std::endian order, const Number& number )
{
    std::string out;
    for ( size_t i = 0; i < count; ++i )
        out += bytesOf( T( number( i ) ), order );
    return out;
}

/// The bytes packed as gzip does.
[[nodiscard]] std::string gzipped( const std::string& bytes );
/// The same as a bare zlib stream.
[[nodiscard]] std::string zlibPacked( const std::string& bytes );

} // namespace VX::Testing
