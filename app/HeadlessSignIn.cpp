#include "HeadlessSignIn.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Path.h>
#include <VXOrvanta/account/AuthToken.h>
#include <VXOrvanta/account/Cognito.h>
#include <VXOrvanta/account/UserInfo.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/web/WebRequest.h>

#include <algorithm>
#include <optional>

namespace VX::App
{
namespace
{

/// What comes after "-creds"; empty when it is not there.
std::string credentialsFile()
{
    const auto& arguments = getViewerInstance().arguments();
    const auto at = std::find( arguments.begin(), arguments.end(), "-creds" );
    return at == arguments.end() || at + 1 == arguments.end() ? std::string() : *( at + 1 );
}

/// Sends a sign-in and waits for its answer.
template <typename Request>
tl::expected<Json::Value, std::string> waitFor( const Request& request )
{
    std::optional<Json::Value> answer;
    request( [&]( const Json::Value& response ) { answer = response; } );
    while ( !answer )
        getViewerInstance().step( -1 );
    return parseResponse( *answer );
}

tl::expected<Json::Value, std::string> signInWithFile( const std::string& file )
{
    const auto root = deserializeJsonValue( pathFromUtf8( file ) );
    if ( !root )
        return tl::unexpected( root.error() );
    if ( !root->isObject() || !( *root )["email"].isString() || !( *root )["password"].isString() )
        return tl::unexpected( "\"" + file + "\" does not hold an e-mail address and a password" );
    return waitFor(
        [&]( Cognito::Callback callback )
        {
            Cognito::signInEmail(
                ( *root )["email"].asString(), ( *root )["password"].asString(), std::move( callback ) );
        } );
}

} // namespace

std::string signInHeadless()
{
    const auto file = credentialsFile();
    const auto token = loadAuthToken();
    if ( file.empty() && ( token.token.empty() || token.endpoint.empty() ) )
        return {};
    const auto answer = file.empty()
                            ? waitFor( [&]( Cognito::Callback callback )
                                  { Cognito::signInToken( token.token, token.endpoint, std::move( callback ) ); } )
                            : signInWithFile( file );
    if ( !answer )
        return "Cannot sign in: " + answer.error();
    const bool good = answer->isObject() && ( *answer )["AuthenticationResult"].isObject() &&
                      ( *answer )["AuthenticationResult"]["AccessToken"].isString();
    if ( !good )
        return "Cannot sign in: the answer is not understood";
    UserInfo::setAccessToken( ( *answer )["AuthenticationResult"]["AccessToken"].asString() );
    return {};
}

} // namespace VX::App
