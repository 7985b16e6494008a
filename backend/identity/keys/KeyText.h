#pragma once

#include "identity/keys/IdentityKeys.h"

#include <VXMesh/io/Json.h>

#include <optional>

namespace VX::Backend
{

/// Keys as they are kept: {"codes": …, "signing": [{"seed": …, "since": …}, …]}, secrets in hexadecimal digits.
[[nodiscard]] std::string textOfKeys( const IdentityKeys& keys );

/// Reads that; none where any of it is damaged. A text of an older version has one signing key, which is as old as it
/// is told to be.
[[nodiscard]] std::optional<IdentityKeys> keysOfText( const Json::Value& root, std::chrono::sys_seconds written );

/// New secrets.
[[nodiscard]] tl::expected<IdentityKeys, std::string> newIdentityKeys( std::chrono::sys_seconds now );
[[nodiscard]] SigningKey newSigningKey( std::chrono::sys_seconds now );

} // namespace VX::Backend
