#pragma once

#include "database/Database.h"

namespace VX::Backend
{

/// Makes the tables of conversions and of their owners where they are missing, and takes over that of older versions.
///
/// The sums of an owner (`conversion_owners`) are kept by triggers on `conversions`, so that none of its rows has to be
/// counted: by whatever a row is changed, the sums follow in the same transaction.
[[nodiscard]] DatabaseResult<void> prepareJobTables( Database& database );

} // namespace VX::Backend
