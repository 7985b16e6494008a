#include <VXOrvanta/account/SignInSource.h>

#include <spdlog/spdlog.h>

namespace VX
{

bool SignInSource::isUsable() const
{
    return credentials || VX::isUsable( token );
}

void SignInSource::signIn( Cognito::Callback callback ) const
{
    if ( credentials )
        Cognito::signInEmail( credentials->email, credentials->password, std::move( callback ) );
    else
        Cognito::signInToken( token.token, token.endpoint, std::move( callback ) );
}

SignInSource takeSignInSource( std::vector<std::string>& arguments )
{
    SignInSource out;
    if ( const auto file = takeCredentialsArgument( arguments ) )
    {
        auto credentials = readCredentials( *file );
        if ( credentials )
        {
            out.credentials = std::move( *credentials );
            return out;
        }
        out.problem = credentials.error();
        spdlog::warn( "{}", out.problem );
    }
    out.token = loadAuthToken();
    return out;
}

bool hasSignInSource( std::vector<std::string> arguments )
{
    return takeCredentialsArgument( arguments ) || isUsable( loadAuthToken() );
}

bool isUsable( const AuthToken& token )
{
    return !token.token.empty() && !token.endpoint.empty();
}

} // namespace VX
