#pragma once

#include <tl/expected.hpp>

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace VX::Backend
{

using SqlValue = std::variant<std::nullptr_t, int64_t, std::string>;
using SqlRow = std::vector<SqlValue>;

[[nodiscard]] std::string textOf( const SqlValue& value );
[[nodiscard]] int64_t integerOf( const SqlValue& value );

/// Why the database gave no answer. None of them says anything about what was asked for.
enum class DatabaseTrouble
{
    Unavailable, ///< not now: locked by another process, no space, a fault of the disk
    Conflict,    ///< a rule of the tables forbids it, such as a second row of one key
    Broken       ///< damaged, or not as this version knows it
};

struct DatabaseError
{
    DatabaseTrouble kind = DatabaseTrouble::Broken;
    std::string text; ///< for the log
};

template <typename T>
using DatabaseResult = tl::expected<T, DatabaseError>;

} // namespace VX::Backend
