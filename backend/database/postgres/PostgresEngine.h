#pragma once

#include "database/engine/SqlEngine.h"

namespace VX::Backend
{

/// A schema of a PostgreSQL database, which many processes on many machines may share.
class PostgresEngine final : public SqlEngine
{
public:
    /// The address as `PostgresSession::open` takes it. The schema's name consists of small letters, digits and "_".
    PostgresEngine( std::string address, std::string schema );

    /// Whether it is an address at all; nobody is asked.
    [[nodiscard]] static tl::expected<void, std::string> check( const std::string& address );

    [[nodiscard]] std::string name() const override;
    [[nodiscard]] DatabaseResult<std::unique_ptr<SqlSession>> open() override;
    [[nodiscard]] bool isShared() const override { return true; }
    [[nodiscard]] std::unique_ptr<Bell> bell() const override;
    [[nodiscard]] DatabaseResult<std::shared_ptr<void>> holdTables() override;

    [[nodiscard]] std::string tableOf(
        const std::string& name, const std::string& columns, RowNumbers numbers ) const override;
    [[nodiscard]] std::string columnOf(
        const std::string& table, const std::string& name, const std::string& type ) const override;
    [[nodiscard]] std::vector<std::string> triggerOf( const Trigger& trigger ) const override;
    [[nodiscard]] std::string lockOf( const std::string& table ) const override;
    [[nodiscard]] std::string tableQuery() const override;
    [[nodiscard]] std::string columnQuery() const override;
    [[nodiscard]] std::string overwriteQuery() const override { return {}; }
    [[nodiscard]] std::string sizeQuery() const override;

private:
    std::string address_, schema_;
};

} // namespace VX::Backend
