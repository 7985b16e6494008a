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

} // namespace VX
