#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace VX::Gltf
{

// What a scene file may ask for, however few bytes it has: both the reader and the writer hold to it.
constexpr size_t cMaxObjects = 1'000'000;
constexpr size_t cMaxDescription = size_t( 64 ) << 20; ///< bytes of JSON
constexpr size_t cMaxValues = 5'000'000;               ///< in it; each costs up to 170 bytes

/// Whether a description in JSON is small enough to be parsed.
[[nodiscard]] inline bool isModest( std::string_view json )
{
    if ( json.size() > cMaxDescription )
        return false;
    // There are no more values than these; those in texts make no difference that matters.
    const auto opens = []( char c ) { return c == ',' || c == '[' || c == '{'; };
    return size_t( std::count_if( json.begin(), json.end(), opens ) ) < cMaxValues;
}

} // namespace VX::Gltf
