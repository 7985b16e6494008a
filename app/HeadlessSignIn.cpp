#include "HeadlessSignIn.h"

#include <VXOrvanta/account/AccountLock.h>
#include <VXOrvanta/account/AuthAnswer.h>
#include <VXOrvanta/account/SignInSource.h>
#include <VXOrvanta/account/UserInfo.h>
#include <VXViewer/core/Viewer.h>

namespace VX::App
{
namespace
{

constexpr const char* cCannot = "Cannot sign in: ";

} // namespace

std::string signInHeadless()
{
    const auto source = takeSignInSource( getViewerInstance().arguments() );
    if ( !source.isUsable() )
        return source.problem.empty() ? std::string() : cCannot + source.problem;
    std::optional<Json::Value> response;
    source.signIn( [&]( const Json::Value& answer ) { response = answer; } );
    while ( !response )
        getViewerInstance().step( -1 );
    const auto body = readAuthAnswer( *response );
    if ( !body )
        return cCannot + body.error().text;
    const auto result = signInResultOf( *body );
    if ( !result || !result->accessToken )
        return std::string( cCannot ) + "the answer is not understood";
    const AccountLock lock;
    UserInfo::setAccessToken( *result->accessToken );
    return {};
}

} // namespace VX::App
