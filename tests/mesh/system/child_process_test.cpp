#include <VXMesh/system/ChildProcess.h>

#include <gtest/gtest.h>

#include <sstream>

#include <fcntl.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace VX;

namespace
{

std::string outputOf( const std::vector<std::string>& command )
{
    const auto child = ChildProcess::start( { command, {} } );
    if ( !child )
        return child.error();
    std::string out;
    char buffer[1000];
    for ( size_t n = 0; ( n = child->read( buffer, sizeof buffer ) ) > 0; )
        out.append( buffer, n );
    return out;
}

} // namespace

TEST( ChildProcess, HasASessionOfItsOwn )
{
    // Number, name, state, parent, group, session.
    std::istringstream words( outputOf( { "cat", "/proc/self/stat" } ) );
    pid_t pid = 0, parent = 0, group = 0, session = 0;
    std::string name, state;
    ASSERT_TRUE( words >> pid >> name >> state >> parent >> group >> session );
    EXPECT_EQ( session, pid );
    EXPECT_EQ( group, pid );
    EXPECT_NE( session, ::getsid( 0 ) );
}

TEST( ChildProcess, CannotReachTheTerminalOfTheProgram )
{
    int keyboard = -1;
    const pid_t program = ::forkpty( &keyboard, nullptr, nullptr, nullptr );
    ASSERT_GE( program, 0 );
    if ( program == 0 )
    {
        // The program itself has one.
        const bool has = ::open( "/dev/tty", O_RDONLY | O_CLOEXEC ) >= 0;
        const auto seen = outputOf( { "sh", "-c", "( : < /dev/tty ) 2> /dev/null && echo a terminal" } );
        ::_exit( !has ? 2 : seen.empty() ? 0 : 1 );
    }
    int status = 0;
    ASSERT_EQ( ::waitpid( program, &status, 0 ), program );
    EXPECT_TRUE( WIFEXITED( status ) );
    EXPECT_EQ( WEXITSTATUS( status ), 0 );
    ::close( keyboard );
}

TEST( ChildProcess, InheritsNoFile )
{
    const int file = ::open( "/dev/null", O_RDONLY );
    ASSERT_GE( file, 0 );
    const auto look = "[ -e /proc/self/fd/" + std::to_string( file ) + " ] || echo none";
    EXPECT_EQ( outputOf( { "sh", "-c", look } ), "none\n" );
    ::close( file );
}

TEST( ChildProcess, IsKilledWithWhatItHasStarted )
{
    auto child = ChildProcess::start( { { "sh", "-c", "sleep 100 & echo started; wait" }, {} } );
    ASSERT_TRUE( child );
    char text[16];
    ASSERT_GT( child->read( text, sizeof text ), 0u );
    child->kill();
    // Its output ends when nobody holds it any more.
    ASSERT_EQ( child->waitForOutput( 10000 ), ChildProcess::Output::Ready );
    EXPECT_EQ( child->read( text, sizeof text ), 0u );
}

TEST( ChildProcess, IsWaitedForOnlySoLong )
{
    auto child = ChildProcess::start( { { "sh", "-c", "read -r line; exit 3" }, {} } );
    ASSERT_TRUE( child );
    EXPECT_FALSE( child->hasEndedWithin( 1 ) );
    ASSERT_TRUE( child->write( "\n", 1 ) );
    EXPECT_TRUE( child->hasEndedWithin( 60'000 ) );
    const int status = child->wait();
    EXPECT_EQ( WIFEXITED( status ) ? WEXITSTATUS( status ) : -1, 3 );
    EXPECT_FALSE( child->hasEndedWithin( 1 ) ) << "there is none any more";
}
