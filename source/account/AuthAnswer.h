#pragma once

#include <VXOrvanta/Export.h>

#include <json/value.h>
#include <tl/expected.hpp>

#include <optional>
#include <string>

namespace VX
{

/// Why the identity service has not done what it was asked for.
struct VXORVANTA_API AuthError
{
    std::string text;
    /// Which address has not answered, and why; only where the network has failed.
    std::string reason;

    [[nodiscard]] bool isBadInternet() const;
    /// Whether it was a stored token that is too old.
    [[nodiscard]] bool isExpired() const;
};

/// The body of an answer to a request of `Cognito`.
[[nodiscard]] VXORVANTA_API tl::expected<Json::Value, AuthError> readAuthAnswer( const Json::Value& response );

/// What somebody who has signed in gets.
struct SignInResult
{
    /// Nothing where it is missing or no text.
    std::optional<std::string> accessToken;
    /// Empty after a sign-in by a stored token.
    std::string refreshToken;
};

/// Nothing for a body that is none of a sign-in.
[[nodiscard]] VXORVANTA_API std::optional<SignInResult> signInResultOf( const Json::Value& body );

/// Where a code was mailed to, as the service says it; empty when it does not.
[[nodiscard]] VXORVANTA_API std::string codeDestinationOf( const Json::Value& body );

} // namespace VX
