#pragma once

#include <VXOrvanta/Export.h>

#include <tl/expected.hpp>

#include <optional>
#include <string>
#include <vector>

namespace VX
{

/// Who signs in, with what.
struct Credentials
{
    std::string email;
    std::string password;
};

/// Takes every "-creds" and the argument after it out of a command line; returns the last of those files, if any.
[[nodiscard]] VXORVANTA_API std::optional<std::string> takeCredentialsArgument( std::vector<std::string>& arguments );

/// Reads a JSON object of "email" and "password". The error says why the file is of no use.
[[nodiscard]] VXORVANTA_API tl::expected<Credentials, std::string> readCredentials( const std::string& file );

} // namespace VX
