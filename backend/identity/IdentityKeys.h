#pragma once

#include <tl/expected.hpp>

#include <filesystem>
#include <string>

namespace VX::Backend
{

/// Secrets of the embedded identity service, 32 bytes each.
struct IdentityKeys
{
    std::string signing; ///< seed of the key that signs tokens
    std::string codes;   ///< key of the hashes of mailed codes
};

/// Reads them from "identity-keys.json" in the folder, or makes them there (mode 0600) when there are none.
[[nodiscard]] tl::expected<IdentityKeys, std::string> ensureIdentityKeys( const std::filesystem::path& folder );

} // namespace VX::Backend
