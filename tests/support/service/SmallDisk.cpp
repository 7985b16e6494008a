#include "support/service/SmallDisk.h"

#include <cstdlib>
#include <exception>

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace VX::Testing
{
namespace
{

constexpr int cNotAllowed = 77;

bool mountDisk( const std::filesystem::path& folder, size_t bytes )
{
    const auto options = "mode=1777,size=" + std::to_string( bytes );
    return ::unshare( CLONE_NEWNS ) == 0 && ::mount( nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr ) == 0 &&
           ::mount( "tmpfs", folder.c_str(), "tmpfs", 0, options.c_str() ) == 0;
}

} // namespace

std::optional<std::string> onSmallDisk(
    const std::filesystem::path& folder, size_t bytes, const std::function<std::string()>& work )
{
    int pipes[2];
    if ( ::pipe( pipes ) != 0 )
        return {};
    const pid_t child = ::fork();
    if ( child == 0 )
    {
        ::close( pipes[0] );
        if ( !mountDisk( folder, bytes ) )
            ::_exit( cNotAllowed );
        ::setenv( "TMPDIR", folder.c_str(), 1 );
        // Nothing may get past this place: it would go on with the tests of the original. Nor may it hang for ever, as
        // it does when it waits for a thread that only the original has.
        ::alarm( 60 );
        std::string result;
        try
        {
            result = work();
        }
        catch ( const std::exception& e )
        {
            result = std::string( "exception: " ) + e.what();
        }
        ::_exit( ::write( pipes[1], result.data(), result.size() ) == ssize_t( result.size() ) ? 0 : 1 );
    }
    ::close( pipes[1] );
    std::string out;
    char buffer[4096];
    for ( ssize_t n = 0; ( n = ::read( pipes[0], buffer, sizeof buffer ) ) > 0; )
        out.append( buffer, size_t( n ) );
    ::close( pipes[0] );
    int status = 0;
    ::waitpid( child, &status, 0 );
    if ( WIFEXITED( status ) && WEXITSTATUS( status ) == cNotAllowed )
        return {};
    return WIFEXITED( status ) && WEXITSTATUS( status ) == 0 ? out : "the copy died";
}

} // namespace VX::Testing
