#include <VXOrvanta/shell/VersionCheck.h>

#include <fmt/format.h>

#include <cstdlib>
#include <tuple>

namespace VX
{
namespace
{

/// Takes the text up to the next dot off its front; false where there is no dot.
bool takePart( std::string& rest, int& number )
{
    const auto dot = rest.find( '.' );
    if ( dot == std::string::npos )
        return false;
    number = int( std::strtol( rest.c_str(), nullptr, 10 ) );
    rest.erase( 0, dot + 1 );
    return true;
}

} // namespace

VXVersionParsed::VXVersionParsed( const std::string& text )
{
    if ( text.empty() || text[0] == 'D' )
        return;
    auto rest = text;
    if ( !takePart( rest, major ) || !takePart( rest, minor ) || !takePart( rest, patch ) )
        return;
    build = int( std::strtol( rest.c_str(), nullptr, 10 ) );
    valid = true;
}

std::string VXVersionParsed::toString() const
{
    return fmt::format( "{}.{}.{}.{}", major, minor, patch, build );
}

std::optional<std::string> newerVersion( const std::string& running, const Json::Value& response )
{
    if ( !response.isObject() || !response["code"].isInt() || response["code"].asInt() != 200 ||
         !response["text"].isString() )
        return {};
    const VXVersionParsed own( running ), newest( response["text"].asString() );
    if ( !own.valid || !newest.valid )
        return {};
    const auto numbers = []( const VXVersionParsed& v ) { return std::tie( v.major, v.minor, v.patch, v.build ); };
    if ( numbers( own ) >= numbers( newest ) )
        return {};
    return newest.toString();
}

} // namespace VX
