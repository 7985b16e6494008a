#include "step/ImportLock.h"

#include "files/Digest.h"

#include <VXViewer/system/UserDirs.h>

#include <spdlog/spdlog.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace VX::App
{
namespace
{

/// Places of the file: what runs, what is kept, and from here on one per name.
constexpr off_t cRunning = 0, cRecords = 1, cNames = 2;

/// Without a file beside the settings the imports of this program at least keep apart.
int openInMemory()
{
    static const int sFile = ::memfd_create( "imports.lock", MFD_CLOEXEC );
    const auto path = "/proc/self/fd/" + std::to_string( sFile );
    return ::open( path.c_str(), O_RDWR | O_CLOEXEC );
}

int openFile()
{
    const auto path = getUserConfigDir() / "imports.lock";
    const int fd = ::open( path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600 );
    if ( fd >= 0 )
        return fd;
    spdlog::warn( "Imports of other programs are not seen: {}", std::strerror( errno ) );
    return openInMemory();
}

bool lock( int fd, int command, short type, off_t place )
{
    struct flock range{};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = place;
    range.l_len = 1;
    int result = 0;
    do
        result = ::fcntl( fd, command, &range );
    while ( result != 0 && errno == EINTR );
    return result == 0;
}

off_t placeOf( const std::string& name )
{
    const auto digest = sha256( name );
    uint64_t number = 0;
    std::memcpy( &number, digest.data(), sizeof( number ) );
    return cNames + off_t( number >> 2 );
}

} // namespace

std::optional<ImportLock> ImportLock::tryTake( const std::string& name )
{
    ImportLock out( openFile() );
    if ( lock( out.fd_, F_OFD_SETLK, F_RDLCK, cRunning ) && lock( out.fd_, F_OFD_SETLK, F_WRLCK, placeOf( name ) ) )
        return out;
    return {};
}

std::optional<ImportLock> ImportLock::tryTakeAll()
{
    ImportLock out( openFile() );
    if ( lock( out.fd_, F_OFD_SETLK, F_WRLCK, cRunning ) )
        return out;
    return {};
}

ImportLock ImportLock::forRecords()
{
    ImportLock out( openFile() );
    lock( out.fd_, F_OFD_SETLKW, F_WRLCK, cRecords );
    return out;
}

ImportLock::ImportLock( ImportLock&& other ) noexcept
    : fd_( std::exchange( other.fd_, -1 ) )
{
}

ImportLock& ImportLock::operator=( ImportLock&& other ) noexcept
{
    std::swap( fd_, other.fd_ );
    return *this;
}

ImportLock::~ImportLock()
{
    if ( fd_ >= 0 )
        ::close( fd_ );
}

} // namespace VX::App
