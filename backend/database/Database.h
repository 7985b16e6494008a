#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <tl/expected.hpp>

struct sqlite3;
struct sqlite3_stmt;

namespace VX::Backend
{

using SqlValue = std::variant<std::nullptr_t, int64_t, std::string>;
using SqlRow = std::vector<SqlValue>;

[[nodiscard]] std::string textOf( const SqlValue& value );
[[nodiscard]] int64_t integerOf( const SqlValue& value );

/// One SQLite file in WAL mode; what a finished statement wrote survives a killed process. Any thread: statements of
/// one object run one after the other.
class Database
{
public:
    [[nodiscard]] static tl::expected<std::unique_ptr<Database>, std::string> open( const std::filesystem::path& file );
    ~Database();
    Database( const Database& ) = delete;
    Database& operator=( const Database& ) = delete;

    /// Runs one statement with its parameters and returns the rows it yields; a failure is logged and yields none.
    std::vector<SqlRow> query( const std::string& sql, const std::vector<SqlValue>& parameters = {} );
    /// Runs one statement and returns the number of rows it changed; -1 when it failed.
    int execute( const std::string& sql, const std::vector<SqlValue>& parameters = {} );

private:
    explicit Database( sqlite3* handle )
        : handle_( handle )
    {
    }
    bool run_( const std::string& sql, const std::vector<SqlValue>& parameters, std::vector<SqlRow>& rows );

    std::mutex mutex_;
    sqlite3* handle_;
};

} // namespace VX::Backend
