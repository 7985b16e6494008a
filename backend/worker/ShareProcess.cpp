#include "worker/ShareProcess.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace VX::Backend
{
namespace
{

[[noreturn]] void runCopy( ShareLink link, pid_t parent, const std::function<void( ShareLink& )>& work )
{
    ::prctl( PR_SET_PDEATHSIG, SIGKILL );
    // The parent may have ended before it was asked for.
    if ( ::getppid() == parent )
    {
        try
        {
            work( link );
        }
        catch ( ... ) // NOLINT(bugprone-empty-catch): the silence on the link says it
        {
        }
    }
    ::_exit( 0 );
}

/// Calls `move`, which is read or write, until it has moved all bytes; false when it cannot.
template <typename Byte>
bool moveAll( ssize_t ( *move )( int, std::conditional_t<std::is_const_v<Byte>, const void*, void*>, size_t ), int fd,
    Byte* at, size_t size )
{
    while ( size > 0 )
    {
        const ssize_t done = move( fd, at, size );
        if ( done < 0 && errno == EINTR )
            continue;
        if ( done <= 0 )
            return false;
        at += done;
        size -= size_t( done );
    }
    return true;
}

} // namespace

ShareLink::~ShareLink()
{
    for ( const int fd : { in_, out_ } )
        if ( fd >= 0 )
            ::close( fd );
}

bool ShareLink::write_( const void* data, size_t size )
{
    return moveAll( ::write, out_, static_cast<const char*>( data ), size );
}

bool ShareLink::read_( void* data, size_t size )
{
    return moveAll( ::read, in_, static_cast<char*>( data ), size );
}

std::optional<ShareLink> startShare( const std::function<void( ShareLink& )>& work )
{
    ::signal( SIGPIPE, SIG_IGN );
    int down[2], up[2];
    if ( ::pipe2( down, O_CLOEXEC ) != 0 )
        return {};
    if ( ::pipe2( up, O_CLOEXEC ) != 0 )
    {
        ::close( down[0] );
        ::close( down[1] );
        return {};
    }
    const pid_t self = ::getpid();
    const pid_t copy = ::fork();
    if ( copy == 0 )
    {
        ::close( down[1] );
        ::close( up[0] );
        runCopy( ShareLink( down[0], up[1] ), self, work );
    }
    ::close( down[0] );
    ::close( up[1] );
    ShareLink link( up[0], down[1] );
    if ( copy < 0 )
        return {};
    return link;
}

} // namespace VX::Backend
