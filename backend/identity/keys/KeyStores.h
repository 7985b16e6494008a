#pragma once

#include "database/Database.h"
#include "identity/keys/KeyStore.h"

#include <memory>

namespace VX::Backend
{

/// Where the keys of a service are: in its folder, or with the database that it shares with others, whose keys they
/// are, too. The database must outlive it.
[[nodiscard]] std::unique_ptr<KeyStore> keyStoreOf( const std::filesystem::path& data, Database& database );

/// Makes room for them in a database that has them.
[[nodiscard]] DatabaseResult<void> prepareKeys( Database& database );

} // namespace VX::Backend
