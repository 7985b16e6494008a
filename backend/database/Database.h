#pragma once

#include "database/engine/SqlEngine.h"

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace VX::Backend
{

/// Tables that an engine keeps: an SQLite file, unless another one is given. What a finished statement or transaction
/// wrote is on the disk and survives a killed process and a power cut.
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
    [[nodiscard]] static tl::expected<std::unique_ptr<Database>, std::string> open( std::unique_ptr<SqlEngine> engine );
    ~Database();
    Database( const Database& ) = delete;
    Database& operator=( const Database& ) = delete;

    /// Runs one statement with its parameters and returns the rows it yields.
    [[nodiscard]] DatabaseResult<std::vector<SqlRow>> query(
        const std::string& sql, const std::vector<SqlValue>& parameters = {} );
    /// Runs one statement and returns the number of rows it changed.
    [[nodiscard]] DatabaseResult<int> execute( const std::string& sql, const std::vector<SqlValue>& parameters = {} );

    [[nodiscard]] SqlEngine& engine() { return *engine_; }

    /// Several statements that count all or not at all: they are taken back unless `commit` is called. They are those
    /// that the thread runs until it ends; one at a time. Transactions of other threads and processes wait, so nothing
    /// slow belongs into one.
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

    explicit Database( std::unique_ptr<SqlEngine> engine );
    /// Lets `work` have the session of the thread's transaction, or one for itself.
    template <typename Work>
    [[nodiscard]] auto with_( Work work ) -> std::invoke_result_t<Work, SqlSession&>;
    /// One that nobody uses, or a new one.
    [[nodiscard]] DatabaseResult<Session> take_();
    /// Null where none is left.
    [[nodiscard]] Session takeIdle_();
    void giveBack_( Session session );
    /// That of this thread; null outside one.
    [[nodiscard]] Transaction* transaction_();

    std::unique_ptr<SqlEngine> engine_;
    std::mutex mutex_;
    /// That which was used last is the last one, and the next to be taken.
    std::vector<Session> idle_;
    std::map<std::thread::id, Transaction*> transactions_;
};

} // namespace VX::Backend
