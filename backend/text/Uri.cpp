#include "text/Uri.h"

#include <fmt/format.h>

#include <sstream>

namespace VX::Backend
{
namespace
{

bool isUnreserved( unsigned char c )
{
    return ( c >= 'A' && c <= 'Z' ) || ( c >= 'a' && c <= 'z' ) || ( c >= '0' && c <= '9' ) || c == '-' || c == '.' ||
           c == '_' || c == '~';
}

int hexValue( char c )
{
    if ( c >= '0' && c <= '9' )
        return c - '0';
    if ( c >= 'a' && c <= 'f' )
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

} // namespace

std::string hostNameOf( const std::string& url )
{
    const auto begin = url.find( "://" );
    const auto host = begin == std::string::npos ? std::string() : url.substr( begin + 3 );
    return host.starts_with( '[' ) ? host.substr( 1, host.find( ']' ) - 1 ) : host.substr( 0, host.find( ':' ) );
}

std::string percentEncode( const std::string& text, bool keepSlash )
{
    std::string out;
    for ( const unsigned char c : text )
        if ( isUnreserved( c ) || ( keepSlash && c == '/' ) )
            out += char( c );
        else
            out += fmt::format( "%{:02X}", c );
    return out;
}

std::optional<std::string> percentDecode( const std::string& text )
{
    std::string out;
    for ( size_t i = 0; i < text.size(); ++i )
    {
        if ( text[i] != '%' )
        {
            out += text[i];
            continue;
        }
        if ( i + 2 >= text.size() || hexValue( text[i + 1] ) < 0 || hexValue( text[i + 2] ) < 0 )
            return {};
        out += char( hexValue( text[i + 1] ) * 16 + hexValue( text[i + 2] ) );
        i += 2;
    }
    return out;
}

std::optional<std::map<std::string, std::string>> parseQuery( const std::string& query )
{
    std::map<std::string, std::string> out;
    std::istringstream in( query );
    for ( std::string pair; std::getline( in, pair, '&' ); )
    {
        if ( pair.empty() )
            continue;
        const auto mark = pair.find( '=' );
        const auto key = percentDecode( pair.substr( 0, mark ) );
        const auto value = percentDecode( mark == std::string::npos ? std::string() : pair.substr( mark + 1 ) );
        if ( !key || !value || !out.emplace( *key, *value ).second )
            return {};
    }
    return out;
}

} // namespace VX::Backend
