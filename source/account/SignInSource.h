#pragma once

#include <VXOrvanta/Export.h>
#include <VXOrvanta/account/AuthToken.h>
#include <VXOrvanta/account/Cognito.h>
#include <VXOrvanta/account/Credentials.h>

#include <optional>
#include <string>
#include <vector>

namespace VX
{

/// What there is to sign in with when nobody types anything: the file after the last "-creds" or, where there is none
/// of use, the stored token.
struct VXORVANTA_API SignInSource
{
    std::optional<Credentials> credentials;
    /// The stored one, where there are no credentials. One that cannot be used may still have an address.
    AuthToken token;
    /// Why the file is of no use; it was logged.
    std::string problem;

    [[nodiscard]] bool isUsable() const;
    /// Asks the service; only with one that is usable.
    void signIn( Cognito::Callback callback ) const;
};

/// Takes every "-creds" and the file after it out of a command line.
[[nodiscard]] VXORVANTA_API SignInSource takeSignInSource( std::vector<std::string>& arguments );

/// Whether something would be tried with such a command line, which stays as it is. The file is not looked at.
[[nodiscard]] VXORVANTA_API bool hasSignInSource( std::vector<std::string> arguments );

/// Whether a stored token is one to sign in with.
[[nodiscard]] VXORVANTA_API bool isUsable( const AuthToken& token );

} // namespace VX
