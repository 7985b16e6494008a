#include "database/Schema.h"

namespace VX::Backend
{
namespace
{

DatabaseResult<bool> isThere( const DatabaseResult<std::vector<SqlRow>>& rows )
{
    return rows.map( []( const std::vector<SqlRow>& found ) { return !found.empty(); } );
}

} // namespace

DatabaseResult<void> makeTable( Database& database, const Table& table )
{
    return database.execute( database.engine().tableOf( table.name, table.columns, table.numbers ) )
        .map( []( int ) {} );
}

DatabaseResult<void> makeTables( Database& database, std::initializer_list<Table> tables )
{
    for ( const auto& table : tables )
        if ( auto made = makeTable( database, table ); !made )
            return made;
    return {};
}

DatabaseResult<void> makeTrigger( Database& database, const Trigger& trigger )
{
    for ( const auto& sql : database.engine().triggerOf( trigger ) )
        if ( const auto done = database.execute( sql ); !done )
            return tl::unexpected( done.error() );
    return {};
}

DatabaseResult<bool> addColumn(
    Database& database, const std::string& table, const std::string& name, const std::string& type )
{
    const auto there = isThere( database.query( database.engine().columnQuery(), { table, name } ) );
    if ( !there )
        return there;
    if ( *there )
        return false;
    return database.execute( database.engine().columnOf( table, name, type ) ).map( []( int ) { return true; } );
}

DatabaseResult<void> lockTable( Database& database, const std::string& name )
{
    const auto sql = database.engine().lockOf( name );
    return sql.empty() ? DatabaseResult<void>() : database.execute( sql ).map( []( int ) {} );
}

DatabaseResult<bool> hasTable( Database& database, const std::string& name )
{
    return isThere( database.query( database.engine().tableQuery(), { name } ) );
}

DatabaseResult<void> overwriteDeleted( Database& database )
{
    const auto sql = database.engine().overwriteQuery();
    if ( sql.empty() )
        return {};
    const auto done = database.query( sql );
    if ( !done )
        return tl::unexpected( done.error() );
    if ( integerOf( done->front()[0] ) != 0 )
        return tl::unexpected( DatabaseError{ DatabaseTrouble::Unavailable, "Database: others are at it" } );
    return {};
}

DatabaseResult<int64_t> sizeOf( Database& database )
{
    return database.query( database.engine().sizeQuery() )
        .map( []( const std::vector<SqlRow>& rows ) { return rows.empty() ? 0 : integerOf( rows.front().front() ); } );
}

DatabaseResult<void> executeAll( Database& database, std::initializer_list<const char*> statements )
{
    for ( const char* sql : statements )
        if ( const auto done = database.execute( sql ); !done )
            return tl::unexpected( done.error() );
    return {};
}

} // namespace VX::Backend
