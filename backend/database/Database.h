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

/// One SQLite file in WAL mode; what a finished statement or transaction wrote survives a killed process. Any thread:
/// statements of one object run one after the other.
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

    /// Several statements that count all or not at all: they are taken back unless `commit` is called. Other threads
    /// wait until it ends, so nothing slow belongs into one.
    class Transaction
    {
    public:
        explicit Transaction( Database& database );
        ~Transaction();
        Transaction( const Transaction& ) = delete;
        Transaction& operator=( const Transaction& ) = delete;
        /// False when what was written could not be kept.
        [[nodiscard]] bool commit();

    private:
        Database& database_;
        std::unique_lock<std::recursive_mutex> lock_;
        bool open_;
    };

private:
    explicit Database( sqlite3* handle )
        : handle_( handle )
    {
    }
    bool run_( const std::string& sql, const std::vector<SqlValue>& parameters, std::vector<SqlRow>& rows );

    std::recursive_mutex mutex_;
    sqlite3* handle_;
};

} // namespace VX::Backend
