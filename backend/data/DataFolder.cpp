#include "data/DataFolder.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VX::Backend
{
namespace
{

std::string said( int error )
{
    return std::generic_category().message( error );
}

/// What stands in the file of a lock: the process that wrote it last.
std::string holderIn( int fd )
{
    std::array<char, 32> buffer{};
    const auto n = ::pread( fd, buffer.data(), buffer.size(), 0 );
    const std::string text( buffer.data(), size_t( std::max<ssize_t>( n, 0 ) ) );
    return text.substr( 0, text.find_first_not_of( "0123456789" ) );
}

} // namespace

tl::expected<void, std::string> prepareDataFolder( const std::filesystem::path& folder )
{
    std::error_code ec;
    std::filesystem::create_directories( folder, ec );
    struct stat info{};
    if ( ::stat( folder.c_str(), &info ) != 0 )
        return tl::unexpected( fmt::format( "The folder \"{}\" cannot be made: {}", folder.string(), said( errno ) ) );
    if ( !S_ISDIR( info.st_mode ) )
        return tl::unexpected( fmt::format( "\"{}\" is no folder", folder.string() ) );
    if ( info.st_mode & S_IWOTH )
        return tl::unexpected( fmt::format(
            "The folder \"{}\" is open to everybody; give one that is for the service alone", folder.string() ) );
    if ( ::chmod( folder.c_str(), 0700 ) != 0 )
        return tl::unexpected(
            fmt::format( "The folder \"{}\" cannot be closed to others: {}", folder.string(), said( errno ) ) );
    return {};
}

void giveToOwner( const std::filesystem::path& folder )
{
    struct stat info{};
    if ( ::geteuid() != 0 || ::stat( folder.c_str(), &info ) != 0 )
        return;
    std::error_code ec;
    for ( const auto& entry : std::filesystem::directory_iterator( folder, ec ) )
    {
        // A second name in this folder must not give away a file that lies elsewhere.
        struct stat made{};
        if ( ::lstat( entry.path().c_str(), &made ) != 0 || !S_ISREG( made.st_mode ) || made.st_nlink != 1 )
            continue;
        // What is gone meanwhile needs no owner.
        [[maybe_unused]] const int given = ::lchown( entry.path().c_str(), info.st_uid, info.st_gid );
    }
}

tl::expected<std::unique_ptr<FolderLock>, std::string> FolderLock::take( const std::filesystem::path& folder )
{
    return take_( folder, LOCK_EX | LOCK_NB );
}

tl::expected<std::unique_ptr<FolderLock>, std::string> FolderLock::await( const std::filesystem::path& folder )
{
    return take_( folder, LOCK_EX );
}

bool FolderLock::isTaken( const std::filesystem::path& folder )
{
    const int fd = ::open( ( folder / "lock" ).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW );
    if ( fd < 0 )
        return false;
    const bool taken = ::flock( fd, LOCK_SH | LOCK_NB ) != 0 && errno == EWOULDBLOCK;
    ::close( fd );
    return taken;
}

tl::expected<std::unique_ptr<FolderLock>, std::string> FolderLock::take_(
    const std::filesystem::path& folder, int operation )
{
    const auto file = folder / "lock";
    const int fd = ::open( file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600 );
    if ( fd < 0 )
        return tl::unexpected( fmt::format( "\"{}\" cannot be opened: {}", file.string(), said( errno ) ) );
    std::unique_ptr<FolderLock> lock( new FolderLock( fd ) );
    if ( ::flock( fd, operation ) != 0 )
        return tl::unexpected( fmt::format( "The folder \"{}\" is in use by the service of process {}; stop it first, "
                                            "or give another folder",
            folder.string(), holderIn( fd ) ) );
    const auto text = fmt::format( "{}\n", ::getpid() );
    // It is for people alone: the lock holds without it, on a full disk, too.
    [[maybe_unused]] const bool told =
        ::ftruncate( fd, 0 ) == 0 && ::pwrite( fd, text.data(), text.size(), 0 ) == ssize_t( text.size() );
    return lock;
}

FolderLock::~FolderLock()
{
    ::close( fd_ );
}

} // namespace VX::Backend
