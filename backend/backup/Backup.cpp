#include "backup/Backup.h"

#include "crypto/Hex.h"
#include "data/DataFolder.h"
#include "database/DatabaseFiles.h"
#include "database/Schema.h"

#include <VXMesh/io/AtomicFile.h>
#include <VXMesh/io/Json.h>
#include <VXMesh/system/SystemInfo.h>

#include <fmt/format.h>

#include <fcntl.h>
#include <unistd.h>

namespace VX::Backend
{
namespace
{

using Result = tl::expected<void, std::string>;

constexpr int cVersion = 1;
constexpr const char* cManifest = "backup.json";
/// That without which there is no service comes last: until then a folder may be filled again.
constexpr const char* cDatabases[] = { cStatisticsDatabase, cMainDatabase };
/// Those that are there: without accounts or a certificate of its own a service has fewer.
constexpr const char* cFiles[] = {
    "identity-keys.json", "store-keys.json", "ca.pem", "ca-key.pem", "server.pem", "server-key.pem" };

tl::unexpected<std::string> failed( std::string text )
{
    return tl::unexpected( std::move( text ) );
}

/// Removes a folder at its end, unless that was given another name.
class Unfinished
{
public:
    explicit Unfinished( std::filesystem::path folder )
        : folder_( std::move( folder ) )
    {
    }
    Unfinished( const Unfinished& ) = delete;
    Unfinished& operator=( const Unfinished& ) = delete;
    ~Unfinished()
    {
        std::error_code ec;
        std::filesystem::remove_all( folder_, ec );
    }

private:
    std::filesystem::path folder_;
};

Result flush( const std::filesystem::path& path )
{
    const int fd = ::open( path.c_str(), O_RDONLY | O_CLOEXEC );
    const bool flushed = fd >= 0 && ::fsync( fd ) == 0;
    const auto code = errno;
    if ( fd >= 0 )
        ::close( fd );
    if ( flushed )
        return {};
    return failed( fmt::format(
        "\"{}\" cannot be written to the disk: {}", path.string(), std::generic_category().message( code ) ) );
}

Result copyFile( const std::filesystem::path& from, const std::filesystem::path& to )
{
    std::error_code ec;
    std::filesystem::copy_file( from, to, std::filesystem::copy_options::overwrite_existing, ec );
    if ( !ec )
        std::filesystem::permissions( to, std::filesystem::perms( 0600 ), ec );
    if ( ec )
        return failed(
            fmt::format( "\"{}\" cannot be copied to \"{}\": {}", from.string(), to.string(), ec.message() ) );
    return flush( to );
}

Result copyFiles( const std::filesystem::path& from, const std::filesystem::path& to )
{
    std::error_code ec;
    for ( const char* name : cFiles )
        if ( std::filesystem::exists( from / name, ec ) )
            if ( const auto copied = copyFile( from / name, to / name ); !copied )
                return copied;
    return {};
}

/// Of a file that nobody else uses; it is one file then, without a log beside it.
Result closeTo( const std::filesystem::path& file, std::initializer_list<const char*> statements )
{
    auto database = Database::openExisting( file );
    if ( !database )
        return failed( database.error() );
    const auto done = executeAll( **database, statements )
                          .and_then( [&] { return ( *database )->query( "PRAGMA journal_mode = DELETE" ); } );
    if ( !done )
        return failed( done.error().text );
    std::error_code ec;
    std::filesystem::permissions( file, std::filesystem::perms( 0600 ), ec );
    return flush( file );
}

/// Readers and writers go on meanwhile: the copy is of one moment.
Result copyDatabase( const std::filesystem::path& from, const std::filesystem::path& to )
{
    auto database = Database::openExisting( from );
    if ( !database )
        return failed( database.error() );
    const auto copied = ( *database )->query( "VACUUM INTO ?", { to.string() } );
    if ( !copied )
        return failed( copied.error().text );
    return {};
}

Result writeManifest( const std::filesystem::path& folder )
{
    Json::Value root;
    root["version"] = cVersion;
    root["program"] = GetVXVersionString();
    return writeFileAtomically( folder / cManifest, root.toStyledString(), { .mode = 0600 } );
}

Result fill( const std::filesystem::path& folder, const std::filesystem::path& data )
{
    // Jobs of a backup would be of files that are gone.
    return copyDatabase( data / cMainDatabase, folder / cMainDatabase )
        .and_then( [&] { return closeTo( folder / cMainDatabase, { "DELETE FROM conversions" } ); } )
        .and_then( [&] { return copyDatabase( data / cStatisticsDatabase, folder / cStatisticsDatabase ); } )
        .and_then( [&] { return closeTo( folder / cStatisticsDatabase, {} ); } )
        .and_then( [&] { return copyFiles( data, folder ); } )
        .and_then( [&] { return writeManifest( folder ); } )
        .and_then( [&] { return flush( folder ); } );
}

Result checkManifest( const std::filesystem::path& folder )
{
    const auto root = deserializeJsonValue( folder / cManifest );
    if ( !root || !root->isObject() || !( *root )["version"].isInt() )
        return failed( fmt::format( "There is no whole backup in \"{}\"", folder.string() ) );
    if ( ( *root )["version"].asInt() > cVersion )
        return failed( fmt::format( "The backup in \"{}\" is of a newer version, {}; restore it with that one",
            folder.string(), textMember( *root, "program" ) ) );
    return {};
}

Result checkDatabase( const std::filesystem::path& file )
{
    auto database = Database::openExisting( file );
    if ( !database )
        return failed( database.error() );
    const auto rows = ( *database )->query( "PRAGMA quick_check(1)" );
    if ( rows && rows->size() == 1 && textOf( rows->front()[0] ) == "ok" )
        return {};
    return failed( fmt::format( "\"{}\" is damaged", file.string() ) );
}

Result takeOver( const std::filesystem::path& folder, const std::filesystem::path& data )
{
    auto done = copyFiles( folder, data );
    for ( const char* name : cDatabases )
    {
        const auto arriving = data / ( std::string( "arriving-" ) + name );
        const Unfinished unfinished( arriving );
        done = done.and_then( [&] { return copyFile( folder / name, arriving ); } )
                   .and_then( [&] { return checkDatabase( arriving ); } )
                   .and_then(
                       [&]() -> Result
                       {
                           std::error_code ec;
                           std::filesystem::rename( arriving, data / name, ec );
                           return ec ? Result( failed( ec.message() ) ) : Result();
                       } );
    }
    return done.and_then( [&] { return flush( data ); } );
}

} // namespace

Result makeBackup( const std::filesystem::path& data, const std::filesystem::path& folder )
{
    std::error_code ec;
    // Nothing is made, not even on the way to the folder, where there is nothing to copy.
    if ( const auto there = Database::openExisting( data / cMainDatabase ); !there )
        return failed( there.error() );
    if ( std::filesystem::exists( std::filesystem::symlink_status( folder, ec ) ) )
        return failed( fmt::format( "\"{}\" is there already; give a new folder", folder.string() ) );
    auto unfinished = folder;
    unfinished += ".unfinished-" + randomHex( 4 );
    const Unfinished cleaning( unfinished );
    return prepareDataFolder( unfinished )
        .and_then( [&] { return fill( unfinished, data ); } )
        .and_then(
            [&]() -> Result
            {
                giveToOwner( data );
                std::filesystem::rename( unfinished, folder, ec );
                if ( ec )
                    return failed( fmt::format( "\"{}\" cannot be made: {}", folder.string(), ec.message() ) );
                return flush( std::filesystem::absolute( folder ).parent_path() );
            } );
}

Result restoreBackup( const std::filesystem::path& folder, const std::filesystem::path& data )
{
    std::error_code ec;
    if ( const auto whole = checkManifest( folder ); !whole )
        return whole;
    if ( std::filesystem::exists( data / cMainDatabase, ec ) )
        return failed( fmt::format( "There is a database in \"{}\" already; give a new folder", data.string() ) );
    if ( const auto prepared = prepareDataFolder( data ); !prepared )
        return prepared;
    const auto lock = FolderLock::take( data );
    if ( !lock )
        return failed( lock.error() );
    const auto restored = takeOver( folder, data );
    giveToOwner( data );
    return restored;
}

} // namespace VX::Backend
