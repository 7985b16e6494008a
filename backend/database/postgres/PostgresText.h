#pragma once

#include <string>

namespace VX::Backend
{

/// The statement with PostgreSQL's parameters: "?" becomes "$1", "$2" and so on, and "?3" "$3". As with SQLite a "?"
/// counts on from the highest number before it. What stands between quotes is left alone.
[[nodiscard]] std::string postgresStatement( const std::string& sql );

/// Types of columns as PostgreSQL has them, where SQLite's have other names: numbers have 64 bits, and
/// "INTEGER PRIMARY KEY AUTOINCREMENT" is a number that the database gives.
[[nodiscard]] std::string postgresColumns( const std::string& columns );

} // namespace VX::Backend
