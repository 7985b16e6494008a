/// Tells where each thread is when a test takes so long that it will be ended from outside, which says nothing.
#include <gtest/gtest.h>

#include <dirent.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

namespace
{

// After the patience of the tests, and before that of whoever runs them.
constexpr unsigned cSeconds = 200;
constexpr int cTellSignal = SIGUSR2;

std::atomic<bool> sTold = false;

void say( const char* text )
{
    [[maybe_unused]] const auto written = ::write( STDERR_FILENO, text, std::strlen( text ) );
}

void tellStack( int )
{
    const int error = errno;
    void* frames[64];
    const int count = ::backtrace( frames, 64 );
    say( "\nA thread:\n" );
    ::backtrace_symbols_fd( frames, count, STDERR_FILENO );
    sTold = true;
    errno = error;
}

void tellStackOf( pid_t thread )
{
    sTold = false;
    if ( ::syscall( SYS_tgkill, ::getpid(), thread, cTellSignal ) != 0 )
        return;
    // A thread that does not answer within a second is passed over.
    for ( int i = 0; i < 100 && !sTold; ++i )
        ::usleep( 10'000 );
}

void tellStacks( int )
{
    say( "\nThis test takes too long. Its threads are here:\n" );
    DIR* threads = ::opendir( "/proc/self/task" );
    if ( !threads )
        return;
    while ( const dirent* entry = ::readdir( threads ) )
        if ( const int thread = std::atoi( entry->d_name ); thread > 0 )
            tellStackOf( thread );
    ::closedir( threads );
}

void handle( int signal, void ( *handler )( int ), int flags )
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART | flags;
    ::sigaction( signal, &action, nullptr );
}

class HangReport final : public testing::EmptyTestEventListener
{
    void OnTestProgramStart( const testing::UnitTest& ) override
    {
        // The first call loads a library, which a signal handler must not do.
        void* frame = nullptr;
        ::backtrace( &frame, 1 );
        handle( cTellSignal, &tellStack, 0 );
        // It signals its own thread, too, which has to answer at once.
        handle( SIGALRM, &tellStacks, SA_NODEFER );
    }
    void OnTestStart( const testing::TestInfo& ) override { ::alarm( cSeconds ); }
    void OnTestEnd( const testing::TestInfo& ) override { ::alarm( 0 ); }
};

const bool sListens = []
{
    testing::UnitTest::GetInstance()->listeners().Append( new HangReport );
    return true;
}();

} // namespace
