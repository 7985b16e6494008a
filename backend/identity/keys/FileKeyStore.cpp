#include "identity/keys/FileKeyStore.h"

#include "identity/keys/KeyText.h"

#include <VXMesh/io/AtomicFile.h>
#include <VXMesh/io/Json.h>

#include <fmt/format.h>

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

/// Why a file cannot be read, such as one of another user, which is no damage; empty when it can.
std::string readingProblem( const std::filesystem::path& file )
{
    std::array<char, 1> byte{};
    const int fd = ::open( file.c_str(), O_RDONLY | O_CLOEXEC );
    const bool read = fd >= 0 && ::read( fd, byte.data(), byte.size() ) >= 0;
    const int error = errno;
    if ( fd >= 0 )
        ::close( fd );
    return read ? std::string() : std::generic_category().message( error );
}

/// When a file was written last, which is when the one key in it was made.
std::chrono::sys_seconds writtenAt( const std::filesystem::path& file )
{
    struct stat info{};
    return std::chrono::sys_seconds( std::chrono::seconds( ::stat( file.c_str(), &info ) == 0 ? info.st_mtime : 0 ) );
}

/// Keeps the keys of a folder to one change at a time, of whichever process; the service itself holds another lock.
class ChangeTurn
{
public:
    explicit ChangeTurn( const std::filesystem::path& folder )
        : fd_( ::open( folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC ) )
    {
        if ( fd_ >= 0 )
            ::flock( fd_, LOCK_EX );
    }
    ~ChangeTurn()
    {
        if ( fd_ >= 0 )
            ::close( fd_ );
    }
    ChangeTurn( const ChangeTurn& ) = delete;
    ChangeTurn& operator=( const ChangeTurn& ) = delete;

private:
    int fd_;
};

} // namespace

FileKeyStore::FileKeyStore( std::filesystem::path folder )
    : folder_( std::move( folder ) )
    , file_( identityKeysFile( folder_ ) )
{
}

std::string FileKeyStore::name() const
{
    return "\"" + file_.string() + "\"";
}

KeyStore::Result FileKeyStore::readFile_() const
{
    if ( const auto problem = readingProblem( file_ ); !problem.empty() )
        return tl::unexpected( name() + " cannot be read: " + problem );
    auto keys = keysOfText( deserializeJsonValue( file_ ).value_or( Json::Value() ), writtenAt( file_ ) );
    // New ones in their place would end every sign-in there is without a word.
    if ( !keys )
        return tl::unexpected( name() + " is damaged; restore it, or remove it to end all sign-ins" );
    return std::move( *keys );
}

KeyStore::Result FileKeyStore::write_( const IdentityKeys& keys ) const
{
    return writeFileAtomically( file_, textOfKeys( keys ), { .mode = 0600 } ).map( [&] { return keys; } );
}

KeyStore::Result FileKeyStore::read()
{
    if ( std::error_code ec; !std::filesystem::exists( file_, ec ) )
        return tl::unexpected( "There is no " + name() );
    return readFile_();
}

KeyStore::Result FileKeyStore::ensure( std::chrono::sys_seconds now )
{
    if ( std::error_code ec; std::filesystem::exists( file_, ec ) )
        return readFile_();
    return newIdentityKeys( now ).and_then( [&]( const IdentityKeys& keys ) { return write_( keys ); } );
}

KeyStore::Result FileKeyStore::change( const std::function<void( IdentityKeys& )>& edit )
{
    const ChangeTurn turn( folder_ );
    auto keys = read();
    if ( !keys )
        return keys;
    edit( *keys );
    return write_( *keys );
}

std::optional<std::string> FileKeyStore::stamp()
{
    struct stat info{};
    if ( ::stat( file_.c_str(), &info ) != 0 )
        return "none";
    // Who gives the file to its owner changes it, too: before that it may have been closed to this process.
    return fmt::format( "{} {} {} {}", info.st_ino, info.st_size, info.st_ctim.tv_sec, info.st_ctim.tv_nsec );
}

} // namespace VX::Backend
