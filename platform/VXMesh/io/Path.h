#pragma once

#include <filesystem>
#include <string>

namespace VX
{

/// UTF-8 text of a path, its bytes unchanged on POSIX systems.
[[nodiscard]] inline std::string utf8string( const std::filesystem::path& path )
{
    const auto text = path.u8string();
    return { reinterpret_cast<const char*>( text.data() ), text.size() };
}

[[nodiscard]] inline std::filesystem::path pathFromUtf8( const std::string& text )
{
    return { std::u8string( reinterpret_cast<const char8_t*>( text.data() ), text.size() ) };
}

} // namespace VX
