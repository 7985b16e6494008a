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

/// One SQLite file in WAL mode; what a finished statement or transaction wrote is on the disk and survives a killed
/// process and a power cut. Any thread: statements of one object run one after the other.
class Database
{
public:
    /// Opens the file, and makes it when it is missing.
    [[nodiscard]] static tl::expected<std::unique_ptr<Database>, std::string> open( const std::filesystem::path& file );
    /// Opens a file that is there.
    [[nodiscard]] static tl::expected<std::unique_ptr<Database>, std::string> openExisting(
        const std::filesystem::path& file );
    ~Database();
    Database( const Database& ) = delete;
    Database& operator=( const Database& ) = delete;

    /// Runs one statement with its parameters and returns the rows it yields.
    [[nodiscard]] DatabaseResult<std::vector<SqlRow>> query(
        const std::string& sql, const std::vector<SqlValue>& parameters = {} );
    /// Runs one statement and returns the number of rows it changed.
    [[nodiscard]] DatabaseResult<int> execute( const std::string& sql, const std::vector<SqlValue>& parameters = {} );

    /// Several statements that count all or not at all: they are taken back unless `commit` is called. Other threads
    /// wait until it ends, so nothing slow belongs into one.
    ///
    /// A statement that fails, or a beginning that did, fails all that follow until the end, `commit` included.
    class Transaction
    {
    public:
        explicit Transaction( Database& database );
        ~Transaction();
        Transaction( const Transaction& ) = delete;
        Transaction& operator=( const Transaction& ) = delete;
        /// Keeps what was written; the error is that of the first statement that failed.
        [[nodiscard]] DatabaseResult<void> commit();

    private:
        Database& database_;
        std::unique_lock<std::recursive_mutex> lock_;
    };

private:
    explicit Database( sqlite3* handle )
        : handle_( handle )
    {
    }
    [[nodiscard]] static tl::expected<std::unique_ptr<Database>, std::string> open_(
        const std::filesystem::path& file, int flags );
    [[nodiscard]] DatabaseResult<std::vector<SqlRow>> run_(
        const std::string& sql, const std::vector<SqlValue>& parameters );

    std::recursive_mutex mutex_;
    sqlite3* handle_;
    bool inTransaction_ = false;
    /// Of the transaction.
    std::optional<DatabaseError> failure_;
};

/// Runs statements without parameters until one fails.
[[nodiscard]] DatabaseResult<void> executeAll( Database& database, std::initializer_list<const char*> statements );

} // namespace VX::Backend
