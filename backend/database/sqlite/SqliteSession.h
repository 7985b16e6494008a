#pragma once

#include "database/engine/SqlSession.h"

#include <filesystem>
#include <memory>

struct sqlite3;

namespace VX::Backend
{

class WriteTurn;

/// A connection to an SQLite file.
class SqliteSession final : public SqlSession
{
public:
    /// The flags are those of `sqlite3_open_v2`; the turn must outlive the session.
    [[nodiscard]] static DatabaseResult<std::unique_ptr<SqlSession>> open(
        const std::filesystem::path& file, int flags, WriteTurn& turn );
    ~SqliteSession() override;

    [[nodiscard]] int changes() const override;

private:
    SqliteSession( sqlite3* handle, WriteTurn& turn )
        : handle_( handle )
        , turn_( turn )
    {
    }
    /// Has the turn for one statement, where that writes and the session has it not already.
    class Turn;

    [[nodiscard]] DatabaseResult<std::vector<SqlRow>> run_(
        const std::string& sql, const std::vector<SqlValue>& parameters ) override;
    [[nodiscard]] DatabaseResult<void> begin_() override;
    [[nodiscard]] DatabaseResult<void> commit_() override;
    void end_() override;

    sqlite3* handle_;
    WriteTurn& turn_;
    bool hasTurn_ = false;
};

} // namespace VX::Backend
