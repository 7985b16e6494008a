#include <VXOrvanta/account/AuthAnswer.h>

#include <VXViewer/web/WebRequest.h>

namespace VX
{
namespace
{

constexpr const char* cBadInternet = "Bad internet connection.";
constexpr const char* cExpired = "Refresh Token has expired";

/// A member that is a text; nothing when it is missing or of another type.
std::optional<std::string> textOf( const Json::Value& value, const char* member )
{
    if ( !value.isObject() || !value[member].isString() )
        return {};
    return value[member].asString();
}

} // namespace

bool AuthError::isBadInternet() const
{
    return text == cBadInternet;
}

bool AuthError::isExpired() const
{
    return text.find( cExpired ) != std::string::npos;
}

tl::expected<Json::Value, AuthError> readAuthAnswer( const Json::Value& response )
{
    auto body = parseResponse( response );
    if ( body )
        return std::move( *body );
    AuthError error{ std::move( body.error() ), {} };
    if ( error.isBadInternet() )
        error.reason = textOf( response, "error" ).value_or( "" );
    return tl::unexpected( std::move( error ) );
}

std::optional<SignInResult> signInResultOf( const Json::Value& body )
{
    if ( !body.isObject() || !body["AuthenticationResult"].isObject() )
        return {};
    const auto& result = body["AuthenticationResult"];
    return SignInResult{ textOf( result, "AccessToken" ), textOf( result, "RefreshToken" ).value_or( "" ) };
}

std::string codeDestinationOf( const Json::Value& body )
{
    return body.isObject() ? textOf( body["CodeDeliveryDetails"], "Destination" ).value_or( "" ) : std::string();
}

} // namespace VX
