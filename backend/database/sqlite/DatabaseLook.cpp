#include "database/sqlite/DatabaseLook.h"

#include "database/sqlite/SqliteSession.h"
#include "text/Uri.h"

#include <sqlite3.h>

namespace VX::Backend
{
namespace
{

namespace fs = std::filesystem;

fs::path logOf( const fs::path& file )
{
    auto out = file;
    out += "-wal";
    return out;
}

/// Whether something was written that is not in the file yet.
bool hasLog( const fs::path& file )
{
    std::error_code ec;
    const auto size = fs::file_size( logOf( file ), ec );
    return !ec && size > 0;
}

} // namespace

DatabaseResult<std::unique_ptr<DatabaseLook>> DatabaseLook::open( const fs::path& file, bool isUsed )
{
    std::unique_ptr<DatabaseLook> out( new DatabaseLook );
    auto place = file;
    int flags = SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
    if ( !isUsed && hasLog( file ) )
    {
        out->copy_.emplace( "orvanta-look-" );
        place = out->copy_->path() / file.filename();
        flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_URI;
        const auto unavailable = []( const std::string& why )
        {
            return tl::unexpected( DatabaseError{
                DatabaseTrouble::Unavailable, "it cannot be copied into TMPDIR to be looked at: " + why } );
        };
        std::error_code ec;
        if ( out->copy_->path().empty() )
            return unavailable( "no folder can be made there" );
        if ( !fs::copy_file( file, place, ec ) || !fs::copy_file( logOf( file ), logOf( place ), ec ) )
            return unavailable( ec.message() );
    }
    // Nobody changes what nobody uses, so it need not be locked, which takes files beside it.
    const auto uri = "file:" + percentEncode( fs::absolute( place ).string(), true ) +
                     ( isUsed || out->copy_ ? "" : "?immutable=1" );
    auto session = SqliteSession::open( uri, flags, out->turn_ );
    if ( !session )
        return tl::unexpected( session.error() );
    out->session_ = std::move( *session );
    return out;
}

DatabaseResult<std::vector<SqlRow>> DatabaseLook::query( const std::string& sql )
{
    return session_->run( sql, {} );
}

} // namespace VX::Backend
