#pragma once

#include "database/Database.h"

#include <filesystem>
#include <memory>
#include <string>

namespace VX::Testing
{

/// Whether tests of databases are to run over the PostgreSQL that the script beside this file starts: ctest runs them
/// so once more, with ORVANTA_TEST_POSTGRES in the environment.
[[nodiscard]] bool isOverPostgres();

/// Its address.
[[nodiscard]] std::string postgresAddress();

/// The address of an empty database on that server, which is made.
[[nodiscard]] std::string newPostgresDatabase();

/// An engine of a database of its own for each file: an SQLite file, or a schema of the PostgreSQL.
[[nodiscard]] std::unique_ptr<Backend::SqlEngine> testEngine( const std::filesystem::path& file );

/// A database over that engine; that of a file which was opened before is the same.
[[nodiscard]] std::unique_ptr<Backend::Database> openTestDatabase( const std::filesystem::path& file );

/// What is told of a table that is not there.
[[nodiscard]] std::string noSuchTable( const std::string& name );

/// Lets each write of this kind ("INSERT", "UPDATE") into a table fail, as on a disk that is full; with a condition
/// those of rows ("new") for which it holds.
void refuseWrites( Backend::Database& database, const std::string& event, const std::string& table,
    const std::string& condition = "" );
void allowWrites( Backend::Database& database, const std::string& event, const std::string& table );

} // namespace VX::Testing
