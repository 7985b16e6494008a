#pragma once

#include "database/DatabaseResult.h"

#include <filesystem>
#include <memory>
#include <optional>

struct sqlite3;

namespace VX::Backend
{

class WriteTurn;

/// One connection to an SQLite file. One thread at a time.
class SqlSession
{
public:
    /// The flags are those of `sqlite3_open_v2`; the turn must outlive the session.
    [[nodiscard]] static DatabaseResult<std::unique_ptr<SqlSession>> open(
        const std::filesystem::path& file, int flags, WriteTurn& turn );
    ~SqlSession();
    SqlSession( const SqlSession& ) = delete;
    SqlSession& operator=( const SqlSession& ) = delete;

    /// Runs one statement and returns the rows it yields.
    [[nodiscard]] DatabaseResult<std::vector<SqlRow>> run(
        const std::string& sql, const std::vector<SqlValue>& parameters );
    /// The number of rows that the last statement changed.
    [[nodiscard]] int changes() const;

    /// Takes the turn to write, until the transaction ends. A statement that fails in it, the beginning included, fails
    /// all that follow.
    void begin();
    [[nodiscard]] DatabaseResult<void> commit();
    /// Takes back what was not committed.
    void end();

private:
    SqlSession( sqlite3* handle, WriteTurn& turn )
        : handle_( handle )
        , turn_( turn )
    {
    }
    /// Has the turn for one statement, where that writes and the session has it not already.
    class Turn;

    [[nodiscard]] DatabaseResult<std::vector<SqlRow>> failed_( DatabaseError error );

    sqlite3* handle_;
    WriteTurn& turn_;
    bool hasTurn_ = false;
    bool inTransaction_ = false;
    std::optional<DatabaseError> failure_; ///< of the transaction
};

} // namespace VX::Backend
