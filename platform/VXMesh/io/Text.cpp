#include <VXMesh/io/Text.h>

#include <algorithm>

namespace VX
{
namespace
{

/// One character of a text.
struct Character
{
    char32_t code = 0;
    size_t length = 0; ///< in bytes; 0 when they are not UTF-8
};

Character firstOf( std::string_view text )
{
    const auto first = static_cast<unsigned char>( text[0] );
    if ( first < 0x80 )
        return { first, 1 };
    const size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if ( first < 0xc2 || first > 0xf4 || text.size() < length )
        return {};
    char32_t code = first & ( 0x7f >> length );
    for ( size_t i = 1; i < length; ++i )
    {
        const auto next = static_cast<unsigned char>( text[i] );
        if ( ( next & 0xc0 ) != 0x80 )
            return {};
        code = code << 6 | ( next & 0x3f );
    }
    constexpr char32_t cLeast[] = { 0, 0, 0x80, 0x800, 0x10000 };
    const bool surrogate = code >= 0xd800 && code <= 0xdfff;
    return code < cLeast[length] || code > 0x10ffff || surrogate ? Character{} : Character{ code, length };
}

/// Whether a character beyond ASCII steers the terminal or the direction and the lines of the writing around it.
bool isSteering( char32_t code )
{
    return ( code >= 0x80 && code <= 0x9f ) || code == 0x61c || code == 0x200e || code == 0x200f ||
           ( code >= 0x2028 && code <= 0x202e ) || ( code >= 0x2066 && code <= 0x2069 );
}

std::string inHex( char32_t code, size_t digits )
{
    constexpr const char* cDigits = "0123456789ABCDEF";
    std::string out( digits, '0' );
    for ( size_t i = digits; i-- > 0; code >>= 4 )
        out[i] = cDigits[code & 0xf];
    return out;
}

} // namespace

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

std::string visibleText( std::string_view text )
{
    std::string out;
    out.reserve( text.size() );
    while ( !text.empty() )
    {
        const auto [code, length] = firstOf( text );
        if ( length == 0 )
            out += "<" + inHex( static_cast<unsigned char>( text[0] ), 2 ) + ">";
        else if ( code == '\n' )
            out += "\n    ";
        else if ( code < 0x20 )
            out += { '\xe2', '\x90', char( 0x80 + code ) }; // the block of Unicode that shows controls, in their order
        else if ( code == 0x7f )
            out += "\xe2\x90\xa1";
        else if ( isSteering( code ) )
            out += "<U+" + inHex( code, 4 ) + ">";
        else
            out += text.substr( 0, length );
        text.remove_prefix( std::max<size_t>( length, 1 ) );
    }
    return out;
}

} // namespace VX
