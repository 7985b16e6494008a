#pragma once

#include "database/engine/DatabaseResult.h"

#include <optional>

namespace VX::Backend
{

/// One connection to a database. One thread at a time.
class SqlSession
{
public:
    virtual ~SqlSession() = default;
    SqlSession( const SqlSession& ) = delete;
    SqlSession& operator=( const SqlSession& ) = delete;

    /// Runs one statement and returns the rows it yields. Parameters stand in it as "?", or as "?1", "?2" and so on.
    [[nodiscard]] DatabaseResult<std::vector<SqlRow>> run(
        const std::string& sql, const std::vector<SqlValue>& parameters );
    /// The number of rows that the last statement changed.
    [[nodiscard]] virtual int changes() const = 0;

    /// Begins a transaction; those of one database take turns. A statement that fails in it, the beginning included,
    /// fails all that follow until `end`.
    void begin();
    [[nodiscard]] DatabaseResult<void> commit();
    /// Takes back what was not committed.
    void end();

    /// Whether it can be used for what comes next, as far as that shows without asking the database.
    [[nodiscard]] virtual bool isAlive() { return true; }

protected:
    SqlSession() = default;
    [[nodiscard]] bool isInTransaction() const { return inTransaction_; }

private:
    [[nodiscard]] virtual DatabaseResult<std::vector<SqlRow>> run_(
        const std::string& sql, const std::vector<SqlValue>& parameters ) = 0;
    [[nodiscard]] virtual DatabaseResult<void> begin_() = 0;
    [[nodiscard]] virtual DatabaseResult<void> commit_() = 0;
    virtual void end_() = 0;

    bool inTransaction_ = false;
    std::optional<DatabaseError> failure_; ///< of the transaction
};

} // namespace VX::Backend
