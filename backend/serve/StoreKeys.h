#pragma once

#include "storage/Presigner.h"

#include <tl/expected.hpp>

#include <filesystem>
#include <string>

namespace VX::Backend
{

struct StoreKeys
{
    std::string bucket;
    S3Credentials credentials;
};

/// Keys and bucket of the embedded store: from ORVANTA_S3_KEY, ORVANTA_S3_SECRET and ORVANTA_S3_BUCKET, else kept in a
/// file of `folder` that its owner alone can read, and made when it is missing.
[[nodiscard]] tl::expected<StoreKeys, std::string> ensureStoreKeys( const std::filesystem::path& folder );

/// Keys and bucket of another service's store, from the same three, all of which have to be there.
[[nodiscard]] tl::expected<StoreKeys, std::string> foreignStoreKeys();

} // namespace VX::Backend
