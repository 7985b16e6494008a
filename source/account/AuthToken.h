#pragma once

#include <VXOrvanta/Export.h>

#include <string>

namespace VX
{

/// The last successful sign-in, kept so that the next start can sign in silently. All empty: nothing is stored.
struct AuthToken
{
    std::string login;    ///< e-mail address
    std::string token;    ///< refresh token; empty when no sign-in is stored
    std::string endpoint; ///< analytics endpoint id of this user
};

/// Writes the record to "Token/.token" below `getUserConfigDir()`. A folder that cannot be made is logged; a file that
/// cannot be opened is not.
VXORVANTA_API void saveAuthToken( const AuthToken& token );

/// Reads it back. All empty when the file is missing, is no JSON, or its "token" or "endpoint" is no string.
[[nodiscard]] VXORVANTA_API AuthToken loadAuthToken();

} // namespace VX
