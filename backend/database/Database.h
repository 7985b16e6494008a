#pragma once

#include "database/DatabaseResult.h"
#include "database/WriteTurn.h"

#include <filesystem>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace VX::Backend
{

class SqlSession;

/// One SQLite file in WAL mode; what a finished statement or transaction wrote is on the disk and survives a killed
/// process and a power cut.
///
/// Any thread. Each statement or transaction has a session of its own, so who reads waits for nobody; who writes waits
/// for other writers, for seconds at most.
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

    /// Several statements that count all or not at all: they are taken back unless `commit` is called. They are those
    /// that the thread runs until it ends; one at a time. Who else writes waits, so nothing slow belongs into one.
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
        friend class Database;
        Database& database_;
        /// Of the transaction alone, or why there is none.
        DatabaseResult<std::unique_ptr<SqlSession>> session_;
    };

private:
    using Session = std::unique_ptr<SqlSession>;

    Database( std::filesystem::path file, int flags );
    [[nodiscard]] static tl::expected<std::unique_ptr<Database>, std::string> open_(
        const std::filesystem::path& file, int flags );
    /// Lets `work` have the session of the thread's transaction, or one for itself.
    template <typename Work>
    [[nodiscard]] auto with_( Work work ) -> std::invoke_result_t<Work, SqlSession&>;
    /// One that nobody uses, or a new one.
    [[nodiscard]] DatabaseResult<Session> take_();
    void giveBack_( Session session );
    /// That of this thread; null outside one.
    [[nodiscard]] Transaction* transaction_();

    std::filesystem::path file_;
    int flags_;
    WriteTurn turn_;
    std::mutex mutex_;
    /// That which was used last is the last one, and the next to be taken.
    std::vector<Session> idle_;
    std::map<std::thread::id, Transaction*> transactions_;
};

/// Adds a column to a table of an older version; whether it was missing.
[[nodiscard]] DatabaseResult<bool> addColumn(
    Database& database, const std::string& table, const std::string& name, const std::string& type );

/// Runs statements without parameters until one fails.
[[nodiscard]] DatabaseResult<void> executeAll( Database& database, std::initializer_list<const char*> statements );

} // namespace VX::Backend
