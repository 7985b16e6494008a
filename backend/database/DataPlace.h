#pragma once

#include "database/Database.h"

#include <filesystem>
#include <memory>
#include <string>

namespace VX::Backend
{

/// Where a service keeps what it knows.
struct DataPlace
{
    std::filesystem::path data;
    /// Address of a PostgreSQL in which the databases are; files of the folder unless set.
    std::string database;
};

using OpenedDatabase = tl::expected<std::unique_ptr<Database>, std::string>;

/// Accounts, conversions and mails.
[[nodiscard]] OpenedDatabase openMain( const DataPlace& place );
/// Statistics have a database of their own, so that nobody waits for them.
[[nodiscard]] OpenedDatabase openStatistics( const DataPlace& place );
/// The same, but makes no file.
[[nodiscard]] OpenedDatabase openExistingMain( const DataPlace& place );
[[nodiscard]] OpenedDatabase openExistingStatistics( const DataPlace& place );

} // namespace VX::Backend
