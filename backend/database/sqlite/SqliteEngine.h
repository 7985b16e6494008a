#pragma once

#include "database/engine/SqlEngine.h"
#include "database/sqlite/WriteTurn.h"

#include <filesystem>

namespace VX::Backend
{

/// An SQLite file in WAL mode, for one process. Who reads waits for nobody; who writes waits for other writers, for
/// seconds at most.
class SqliteEngine final : public SqlEngine
{
public:
    /// With `make` the file is made when it is missing.
    SqliteEngine( std::filesystem::path file, bool make );

    [[nodiscard]] std::string name() const override;
    [[nodiscard]] DatabaseResult<std::unique_ptr<SqlSession>> open() override;
    [[nodiscard]] bool isShared() const override { return false; }
    [[nodiscard]] std::unique_ptr<Bell> bell() const override;
    /// Nobody else has the folder.
    [[nodiscard]] DatabaseResult<std::shared_ptr<void>> holdTables() override;

    [[nodiscard]] std::string tableOf(
        const std::string& name, const std::string& columns, RowNumbers numbers ) const override;
    [[nodiscard]] std::string columnOf(
        const std::string& table, const std::string& name, const std::string& type ) const override;
    [[nodiscard]] std::vector<std::string> triggerOf( const Trigger& trigger ) const override;
    [[nodiscard]] std::string lockOf( const std::string& table ) const override;
    [[nodiscard]] std::string tableQuery() const override;
    [[nodiscard]] std::string columnQuery() const override;
    [[nodiscard]] std::string overwriteQuery() const override { return "PRAGMA wal_checkpoint(TRUNCATE)"; }
    [[nodiscard]] std::string sizeQuery() const override;

private:
    std::filesystem::path file_;
    int flags_;
    WriteTurn turn_;
};

} // namespace VX::Backend
