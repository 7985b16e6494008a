#pragma once

#include "database/Database.h"

#include <initializer_list>
#include <string>

namespace VX::Backend
{

/// Its columns are told as SQLite has them, "id TEXT PRIMARY KEY, size INTEGER NOT NULL", and other engines take them
/// as they can.
struct Table
{
    const char* name = nullptr;
    const char* columns = nullptr;
    RowNumbers numbers = RowNumbers::None;
};

/// Makes it unless it is there.
[[nodiscard]] DatabaseResult<void> makeTable( Database& database, const Table& table );

[[nodiscard]] DatabaseResult<void> makeTables( Database& database, std::initializer_list<Table> tables );

/// Makes it unless it is there.
[[nodiscard]] DatabaseResult<void> makeTrigger( Database& database, const Trigger& trigger );

/// Adds a column to a table of an older version; whether it was missing.
[[nodiscard]] DatabaseResult<bool> addColumn(
    Database& database, const std::string& table, const std::string& name, const std::string& type );

/// Keeps others from writing into a table until the thread's transaction ends.
[[nodiscard]] DatabaseResult<void> lockTable( Database& database, const std::string& name );

[[nodiscard]] DatabaseResult<bool> hasTable( Database& database, const std::string& name );

/// Writes over what was deleted, where the engine does that by the time it is told to. Unavailable while somebody reads
/// it.
[[nodiscard]] DatabaseResult<void> overwriteDeleted( Database& database );

/// The bytes that the tables take.
[[nodiscard]] DatabaseResult<int64_t> sizeOf( Database& database );

/// Runs statements without parameters until one fails.
[[nodiscard]] DatabaseResult<void> executeAll( Database& database, std::initializer_list<const char*> statements );

} // namespace VX::Backend
