#include "files/FoundFile.h"

#include <VXMesh/io/Path.h>

#include <array>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VX::App
{
namespace
{

FoundFile found( const struct stat& status )
{
    FoundFile out;
    out.identity = { status.st_ino, uint64_t( status.st_size ),
        int64_t( status.st_mtim.tv_sec ) * 1'000'000'000 + status.st_mtim.tv_nsec };
    out.isFolder = S_ISDIR( status.st_mode );
    out.isOurs = S_ISREG( status.st_mode ) && status.st_nlink == 1 && status.st_uid == ::geteuid();
    out.owner = status.st_uid;
    return out;
}

std::string nameOf( unsigned user )
{
    std::array<char, 4096> buffer{};
    passwd entry{}, *result = nullptr;
    if ( ::getpwuid_r( user, &entry, buffer.data(), buffer.size(), &result ) == 0 && result )
        return "the user \"" + std::string( result->pw_name ) + "\"";
    return "the user with the number " + std::to_string( user );
}

std::string quoted( const std::filesystem::path& path )
{
    return "\"" + utf8string( path ) + "\"";
}

} // namespace

std::optional<FoundFile> lookAt( const std::filesystem::path& path )
{
    struct stat status{};
    if ( ::lstat( path.c_str(), &status ) != 0 )
        return {};
    return found( status );
}

FileIdentity identityOf( const std::filesystem::path& file )
{
    struct stat status{};
    return ::stat( file.c_str(), &status ) == 0 ? found( status ).identity : FileIdentity{};
}

std::optional<FileIdentity> keepPrivate( const std::filesystem::path& path )
{
    const int fd = ::open( path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC );
    if ( fd < 0 )
        return {};
    struct stat status{};
    std::optional<FileIdentity> out;
    if ( ::fstat( fd, &status ) == 0 && found( status ).isOurs && ::fchmod( fd, 0600 ) == 0 )
        out = found( status ).identity;
    ::close( fd );
    return out;
}

std::string strangerText( const std::filesystem::path& path, const std::filesystem::path& input )
{
    const auto there = lookAt( path );
    const auto owner = !there                        ? "has gone"
                       : there->owner == ::geteuid() ? "is not a file that this program made"
                                                     : "belongs to " + nameOf( there->owner );
    return "Cannot open " + quoted( input.filename() ) + ": " + quoted( path ) + ", where its conversion has to be, " +
           owner + ". Try again, or give your file another name";
}

std::string clearWay( const std::filesystem::path& path, const std::filesystem::path& input )
{
    const auto there = lookAt( path );
    if ( !there )
        return {};
    std::error_code ec;
    std::filesystem::remove_all( path, ec );
    const auto left = lookAt( path );
    if ( !left )
        return {};
    const auto reason = ec ? ec.message() : "it came back";
    const auto start = "Cannot convert " + quoted( input.filename() ) + ": " + quoted( path ) + " is in the way";
    if ( left->owner == ::geteuid() )
        return start + " and cannot be removed (" + reason + "). Remove it, or give your file another name";
    return start + " and belongs to " + nameOf( left->owner ) +
           ". Ask them or an administrator to remove it, or give your file another name";
}

} // namespace VX::App
