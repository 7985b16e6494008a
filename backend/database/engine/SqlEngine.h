#pragma once

#include "database/engine/Bell.h"
#include "database/engine/SqlSession.h"

#include <memory>
#include <string>
#include <vector>

namespace VX::Backend
{

/// Whether the rows of a table have a number in `rowid`, higher than those of all that were added before.
enum class RowNumbers
{
    None,
    Kept
};

/// What is done for each row ("new", "old") after it was changed.
struct Trigger
{
    std::string name;
    std::string event; ///< "INSERT", "DELETE", "UPDATE" or "UPDATE OF column, …"
    std::string table;
    std::string statements; ///< each with ";" at its end
};

/// What keeps a database, and how tables are told to it. Statements that read and change rows are the same for all
/// engines. Any thread.
class SqlEngine
{
public:
    virtual ~SqlEngine() = default;
    SqlEngine( const SqlEngine& ) = delete;
    SqlEngine& operator=( const SqlEngine& ) = delete;

    /// What it is called in messages, without secrets.
    [[nodiscard]] virtual std::string name() const = 0;
    [[nodiscard]] virtual DatabaseResult<std::unique_ptr<SqlSession>> open() = 0;
    /// Whether processes on other machines may have the same tables.
    [[nodiscard]] virtual bool isShared() const = 0;
    /// By which those who share the database tell each other of changes; null where nobody else has it.
    [[nodiscard]] virtual std::unique_ptr<Bell> bell() const = 0;
    /// Waits until nobody else changes the tables of this database, and keeps others from it while what it returns is
    /// held.
    [[nodiscard]] virtual DatabaseResult<std::shared_ptr<void>> holdTables() = 0;

    /// Makes a table unless it is there. Types are those of SQLite.
    [[nodiscard]] virtual std::string tableOf(
        const std::string& name, const std::string& columns, RowNumbers numbers ) const = 0;
    [[nodiscard]] virtual std::string columnOf(
        const std::string& table, const std::string& name, const std::string& type ) const = 0;
    /// Makes it unless it is there.
    [[nodiscard]] virtual std::vector<std::string> triggerOf( const Trigger& trigger ) const = 0;
    /// Keeps others from writing into a table until the transaction ends; empty where a transaction does that anyway.
    [[nodiscard]] virtual std::string lockOf( const std::string& table ) const = 0;
    /// Yields a row where there is a table of this name, the parameter.
    [[nodiscard]] virtual std::string tableQuery() const = 0;
    /// Yields a row where the table, the first parameter, has the column that the second one names.
    [[nodiscard]] virtual std::string columnQuery() const = 0;
    /// Writes over what was deleted, as far as the engine can be told to: yields 0 where it did. Empty where it does
    /// that by itself, in its time.
    [[nodiscard]] virtual std::string overwriteQuery() const = 0;
    /// Yields the bytes that the tables take.
    [[nodiscard]] virtual std::string sizeQuery() const = 0;

protected:
    SqlEngine() = default;
};

} // namespace VX::Backend
