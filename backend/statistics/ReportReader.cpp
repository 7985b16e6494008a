#include "statistics/ReportReader.h"

#include "crypto/Hex.h"
#include "text/JsonText.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Text.h>

#include <sodium.h>

#include <optional>

namespace VX::Backend
{
namespace
{

constexpr size_t cLongestEmail = 254, cLongestName = 256;
// Clocks of clients may be wrong by years, but not by centuries.
constexpr int64_t cLatestTime = 32503680000; // the year 3000

/// A member that is a text of at least one byte and not too long.
std::optional<std::string> textIn( const Json::Value& object, const char* key, size_t longest )
{
    const auto& value = object[key];
    if ( !value.isString() )
        return {};
    auto text = value.asString();
    return text.empty() || text.size() > longest ? std::nullopt : std::optional( std::move( text ) );
}

std::optional<ReportedAction> actionOf( const Json::Value& value )
{
    if ( !value.isObject() || !value["ts"].isInt64() )
        return {};
    const auto at = value["ts"].asInt64();
    auto name = textIn( value, "name", cLongestName );
    if ( !name || at < 0 || at > cLatestTime )
        return {};
    return ReportedAction{ std::move( *name ), at };
}

tl::unexpected<std::string> wrong( const char* text )
{
    return tl::unexpected( std::string( text ) );
}

} // namespace

tl::expected<Report, std::string> readReport( const std::string& text, const std::string& userKey )
{
    const auto parsed = readRequestJson( text );
    if ( !parsed )
        return wrong( "The report is not a JSON object" );
    const auto& body = *parsed;
    const auto type = textMember( body, "type" );
    if ( type == "createSession" )
    {
        const auto email = textIn( body, "email", cLongestEmail );
        if ( !email )
            return wrong( "\"email\" must be a text of 1 to 254 bytes" );
        return NewSession{ codeOfUser( *email, userKey ) };
    }
    if ( type != "logAction" && type != "setPlatform" )
        return wrong( "\"type\" must be \"createSession\", \"logAction\" or \"setPlatform\"" );
    if ( !body["sessionId"].isInt64() )
        return wrong( "\"sessionId\" must be a whole number" );
    const auto session = body["sessionId"].asInt64();
    if ( type == "setPlatform" )
    {
        auto platform = textIn( body, "platform", cLongestName ), version = textIn( body, "version", cLongestName );
        if ( !platform || !version )
            return wrong( "\"platform\" and \"version\" must be texts of 1 to 256 bytes" );
        return ReportedPlatform{ session, std::move( *platform ), std::move( *version ) };
    }
    const auto email = textIn( body, "email", cLongestEmail );
    if ( !email )
        return wrong( "\"email\" must be a text of 1 to 254 bytes" );
    const auto& names = body["actionNames"];
    if ( !names.isArray() )
        return wrong( "\"actionNames\" must be a list of actions" );
    ReportedActions out{ session, codeOfUser( *email, userKey ), {} };
    for ( const auto& value : names )
    {
        auto action = actionOf( value );
        if ( !action )
            return wrong( "An action must have a \"name\" of 1 to 256 bytes and a time \"ts\" in seconds" );
        out.actions.push_back( std::move( *action ) );
    }
    return out;
}

std::string codeOfUser( const std::string& email, const std::string& userKey )
{
    const auto text = "statistics/" + toLower( email );
    std::string out( crypto_generichash_BYTES_MIN, '\0' );
    crypto_generichash( reinterpret_cast<unsigned char*>( out.data() ), out.size(),
        reinterpret_cast<const unsigned char*>( text.data() ), text.size(),
        reinterpret_cast<const unsigned char*>( userKey.data() ), userKey.size() );
    return hex( out );
}

std::string markOfKey( const std::string& userKey )
{
    constexpr size_t cDigits = 16;
    return hex( hmacSha256( userKey, "statistics/key" ) ).substr( 0, cDigits );
}

} // namespace VX::Backend
