#include <VXOrvanta/account/AuthAnswer.h>

#include <VXMesh/io/Json.h>
#include <VXViewer/web/WebRequest.h>

namespace VX
{
namespace
{

constexpr const char* cBadInternet = "Bad internet connection.";
constexpr const char* cExpired = "Refresh Token has expired";

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
        error.reason = textMember( response, "error" );
    return tl::unexpected( std::move( error ) );
}

std::optional<SignInResult> signInResultOf( const Json::Value& body )
{
    if ( !body.isObject() || !body["AuthenticationResult"].isObject() )
        return {};
    const auto& result = body["AuthenticationResult"];
    SignInResult out{ {}, textMember( result, "RefreshToken" ) };
    if ( result["AccessToken"].isString() )
        out.accessToken = result["AccessToken"].asString();
    return out;
}

std::string codeDestinationOf( const Json::Value& body )
{
    return body.isObject() ? textMember( body["CodeDeliveryDetails"], "Destination" ) : std::string();
}

} // namespace VX
