#include "HeadlessSignIn.h"

#include <VXOrvanta/account/AccountLock.h>
#include <VXOrvanta/account/AuthToken.h>
#include <VXOrvanta/account/Cognito.h>
#include <VXOrvanta/account/Credentials.h>
#include <VXOrvanta/account/UserInfo.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/web/WebRequest.h>

#include <spdlog/spdlog.h>

#include <functional>
#include <optional>

namespace VX::App
{
namespace
{

using Request = std::function<void( Cognito::Callback )>;

/// Sends a sign-in, waits for its answer and takes the access token from it; returns what went wrong.
std::string signIn( const Request& request )
{
    std::optional<Json::Value> response;
    request( [&]( const Json::Value& answer ) { response = answer; } );
    while ( !response )
        getViewerInstance().step( -1 );
    const auto answer = parseResponse( *response );
    if ( !answer )
        return "Cannot sign in: " + answer.error();
    const bool good = answer->isObject() && ( *answer )["AuthenticationResult"].isObject() &&
                      ( *answer )["AuthenticationResult"]["AccessToken"].isString();
    if ( !good )
        return "Cannot sign in: the answer is not understood";
    const AccountLock lock;
    UserInfo::setAccessToken( ( *answer )["AuthenticationResult"]["AccessToken"].asString() );
    return {};
}

} // namespace

std::string signInHeadless()
{
    std::string problem;
    if ( const auto file = takeCredentialsArgument( getViewerInstance().arguments() ) )
    {
        const auto credentials = readCredentials( *file );
        if ( credentials )
            return signIn( [&]( Cognito::Callback callback )
                { Cognito::signInEmail( credentials->email, credentials->password, std::move( callback ) ); } );
        spdlog::warn( "{}", credentials.error() );
        problem = "Cannot sign in: " + credentials.error();
    }
    const auto token = loadAuthToken();
    if ( token.token.empty() || token.endpoint.empty() )
        return problem;
    return signIn( [&]( Cognito::Callback callback )
        { Cognito::signInToken( token.token, token.endpoint, std::move( callback ) ); } );
}

} // namespace VX::App
