#pragma once

#include "clock/SystemTime.h"

#include <tl/expected.hpp>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace VX::Backend
{

/// A key that signs tokens, or did.
struct SigningKey
{
    std::string seed;               ///< 32 bytes
    std::chrono::sys_seconds since; ///< when it begins to sign
    bool operator==( const SigningKey& ) const = default;
};

/// Secrets of the embedded identity service.
struct IdentityKeys
{
    /// The last one signs; tokens of the others are still good. Never empty.
    std::vector<SigningKey> signing;
    std::string codes; ///< key of the hashes of mailed codes and refresh tokens, 32 bytes
};

/// Reads them from "identity-keys.json" in the folder, or makes them there (mode 0600) when there are none. A file of
/// an older version has one signing key, which is as old as the file.
[[nodiscard]] tl::expected<IdentityKeys, std::string> ensureIdentityKeys(
    const std::filesystem::path& folder, std::chrono::sys_seconds now = systemTime() );
/// The same, but makes none.
[[nodiscard]] tl::expected<IdentityKeys, std::string> readIdentityKeys( const std::filesystem::path& folder );

[[nodiscard]] std::filesystem::path identityKeysFile( const std::filesystem::path& folder );

/// Adds a key that signs from now on; the former ones stay. Beside a running service or without one; all keys there are
/// then.
[[nodiscard]] tl::expected<IdentityKeys, std::string> rotateSigningKey(
    const std::filesystem::path& folder, std::chrono::sys_seconds now );
/// Whether `dropFormerKeys` would forget any.
[[nodiscard]] bool hasKeysToDrop( const IdentityKeys& keys, std::chrono::sys_seconds now, std::chrono::seconds unused );

} // namespace VX::Backend
