#include "database/sqlite/SqliteEngine.h"

#include "database/sqlite/SqliteSession.h"

#include <sqlite3.h>

namespace VX::Backend
{

SqliteEngine::SqliteEngine( std::filesystem::path file, bool make )
    : file_( std::move( file ) )
    , flags_( SQLITE_OPEN_READWRITE | ( make ? SQLITE_OPEN_CREATE : 0 ) )
{
}

std::string SqliteEngine::name() const
{
    return file_.string();
}

DatabaseResult<std::unique_ptr<SqlSession>> SqliteEngine::open()
{
    return SqliteSession::open( file_, flags_, turn_ );
}

std::unique_ptr<Bell> SqliteEngine::bell() const
{
    return {};
}

DatabaseResult<std::shared_ptr<void>> SqliteEngine::holdTables()
{
    return std::shared_ptr<void>();
}

std::string SqliteEngine::tableOf( const std::string& name, const std::string& columns, RowNumbers numbers ) const
{
    return "CREATE TABLE IF NOT EXISTS " + name + "(" + columns + ")" +
           ( numbers == RowNumbers::Kept ? "" : " WITHOUT ROWID" );
}

std::string SqliteEngine::columnOf( const std::string& table, const std::string& name, const std::string& type ) const
{
    return "ALTER TABLE " + table + " ADD COLUMN " + name + " " + type;
}

std::vector<std::string> SqliteEngine::triggerOf( const Trigger& trigger ) const
{
    return { "CREATE TRIGGER IF NOT EXISTS " + trigger.name + " AFTER " + trigger.event + " ON " + trigger.table +
             " BEGIN " + trigger.statements + " END" };
}

std::string SqliteEngine::lockOf( const std::string& /*table*/ ) const
{
    return {};
}

std::string SqliteEngine::tableQuery() const
{
    return "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ?";
}

std::string SqliteEngine::columnQuery() const
{
    return "SELECT 1 FROM pragma_table_info(?) WHERE name = ?";
}

std::string SqliteEngine::sizeQuery() const
{
    return "SELECT (page_count - freelist_count) * page_size FROM pragma_page_count, pragma_freelist_count, "
           "pragma_page_size";
}

} // namespace VX::Backend
