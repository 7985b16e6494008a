#include <VXMesh/io/Text.h>

#include <algorithm>

namespace VX
{

std::string toLower( std::string_view text )
{
    std::string out( text );
    std::transform( out.begin(), out.end(), out.begin(),
        []( char c ) { return c >= 'A' && c <= 'Z' ? char( c - 'A' + 'a' ) : c; } );
    return out;
}

std::string trimmed( std::string_view text )
{
    constexpr std::string_view cSpace = " \t\r\n\v\f";
    const auto first = text.find_first_not_of( cSpace );
    if ( first == std::string_view::npos )
        return {};
    return std::string( text.substr( first, text.find_last_not_of( cSpace ) - first + 1 ) );
}

std::string printable( std::string_view text, size_t maxLength )
{
    std::string out( text );
    std::erase_if( out, []( unsigned char c ) { return c < 0x20 || c > 0x7e; } );
    out.resize( std::min( out.size(), maxLength ) );
    return out;
}

} // namespace VX
