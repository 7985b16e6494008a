#include "database/Database.h"

#include "database/sqlite/SqliteEngine.h"

namespace VX::Backend
{

tl::expected<std::unique_ptr<Database>, std::string> Database::open( const std::filesystem::path& file )
{
    return open( std::make_unique<SqliteEngine>( file, true ) );
}

tl::expected<std::unique_ptr<Database>, std::string> Database::openExisting( const std::filesystem::path& file )
{
    std::error_code ec;
    if ( !std::filesystem::exists( file, ec ) )
        return tl::unexpected( "There is no database in \"" + file.parent_path().string() + "\"" );
    return open( std::make_unique<SqliteEngine>( file, false ) );
}

tl::expected<std::unique_ptr<Database>, std::string> Database::open( std::unique_ptr<SqlEngine> engine )
{
    std::unique_ptr<Database> database( new Database( std::move( engine ) ) );
    const auto name = "\"" + database->engine_->name() + "\"";
    auto first = database->take_();
    if ( !first && first.error().kind == DatabaseTrouble::Unavailable )
        return tl::unexpected( "Cannot open the database " + name + ": " + first.error().text );
    if ( !first )
        return tl::unexpected( "The database " + name + " is damaged" );
    database->giveBack_( std::move( *first ) );
    return database;
}

Database::Database( std::unique_ptr<SqlEngine> engine )
    : engine_( std::move( engine ) )
{
}

Database::~Database() = default;

DatabaseResult<Database::Session> Database::take_()
{
    while ( auto session = takeIdle_() )
        if ( session->isAlive() )
            return session;
    return engine_->open();
}

Database::Session Database::takeIdle_()
{
    const std::lock_guard lock( mutex_ );
    if ( idle_.empty() )
        return {};
    auto session = std::move( idle_.back() );
    idle_.pop_back();
    return session;
}

void Database::giveBack_( Session session )
{
    if ( !session->isAlive() )
        return;
    const std::lock_guard lock( mutex_ );
    idle_.push_back( std::move( session ) );
}

Database::Transaction* Database::transaction_()
{
    const std::lock_guard lock( mutex_ );
    const auto found = transactions_.find( std::this_thread::get_id() );
    return found == transactions_.end() ? nullptr : found->second;
}

template <typename Work>
auto Database::with_( Work work ) -> std::invoke_result_t<Work, SqlSession&>
{
    if ( const auto* transaction = transaction_() )
    {
        const auto& session = transaction->session_;
        return session ? work( **session ) : tl::unexpected( session.error() );
    }
    auto session = take_();
    if ( !session )
        return tl::unexpected( session.error() );
    auto out = work( **session );
    giveBack_( std::move( *session ) );
    return out;
}

DatabaseResult<std::vector<SqlRow>> Database::query( const std::string& sql, const std::vector<SqlValue>& parameters )
{
    return with_( [&]( SqlSession& session ) { return session.run( sql, parameters ); } );
}

DatabaseResult<int> Database::execute( const std::string& sql, const std::vector<SqlValue>& parameters )
{
    return with_( [&]( SqlSession& session )
        { return session.run( sql, parameters ).map( [&]( const auto& ) { return session.changes(); } ); } );
}

Database::Transaction::Transaction( Database& database )
    : database_( database )
    , session_( database.take_() )
{
    if ( session_ )
        ( *session_ )->begin();
    const std::lock_guard lock( database.mutex_ );
    database.transactions_[std::this_thread::get_id()] = this;
}

Database::Transaction::~Transaction()
{
    {
        const std::lock_guard lock( database_.mutex_ );
        database_.transactions_.erase( std::this_thread::get_id() );
    }
    if ( !session_ )
        return;
    ( *session_ )->end();
    database_.giveBack_( std::move( *session_ ) );
}

DatabaseResult<void> Database::Transaction::commit()
{
    if ( !session_ )
        return tl::unexpected( session_.error() );
    return ( *session_ )->commit();
}

} // namespace VX::Backend
