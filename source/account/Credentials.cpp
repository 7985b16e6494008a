#include <VXOrvanta/account/Credentials.h>

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Path.h>
#include <VXOrvanta/account/CredentialRules.h>

namespace VX
{

std::optional<std::string> takeCredentialsArgument( std::vector<std::string>& arguments )
{
    std::optional<std::string> file;
    for ( auto it = arguments.begin(); it != arguments.end(); )
    {
        if ( *it != "-creds" )
        {
            ++it;
            continue;
        }
        it = arguments.erase( it );
        if ( it == arguments.end() )
            break;
        file = std::move( *it );
        it = arguments.erase( it );
    }
    return file;
}

tl::expected<Credentials, std::string> readCredentials( const std::string& file )
{
    const auto root = deserializeJsonValue( pathFromUtf8( file ) );
    if ( !root )
        return tl::unexpected( "Cannot read credentials file: " + root.error() );
    if ( !root->isObject() || !( *root )["email"].isString() || !( *root )["password"].isString() )
        return tl::unexpected( std::string( "Credentials file is invalid" ) );
    Credentials out{ ( *root )["email"].asString(), ( *root )["password"].asString() };
    if ( !isEmailAddress( out.email ) )
        return tl::unexpected( std::string( "Credentials file: email is invalid" ) );
    return out;
}

} // namespace VX
