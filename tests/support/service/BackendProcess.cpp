#include "support/service/BackendProcess.h"
#include "TestPlaces.h"
#include "support/Patience.h"
#include "support/database/TestDatabase.h"
#include "support/service/SandboxOption.h"

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace VX::Testing
{

BackendProcess::BackendProcess(
    std::vector<std::string> options, std::filesystem::path log, std::vector<std::string> before, BackendRole role )
    : options_( std::move( options ) )
    , log_( std::move( log ) )
    , before_( std::move( before ) )
    , role_( std::move( role ) )
{
    if ( role_.database.empty() && isOverPostgres() )
        role_.database = newPostgresDatabase();
    // For the commands of an operator, too.
    if ( !role_.database.empty() )
        ::setenv( "ORVANTA_DATABASE", role_.database.c_str(), 1 );
    start_();
}

BackendProcess::~BackendProcess()
{
    if ( pid_ > 0 )
    {
        ::kill( pid_, SIGTERM );
        ::waitpid( pid_, nullptr, 0 );
    }
}

void BackendProcess::start_()
{
    auto arguments = before_;
    for ( const auto& word :
        { std::string( ORVANTA_BACKEND ), role_.command, std::string( "--data" ), folder_.path().string() } )
        arguments.push_back( word );
    if ( role_.port != 0 )
        arguments.insert( arguments.end(), { "--port", std::to_string( role_.port ) } );
    if ( !role_.database.empty() )
        arguments.insert( arguments.end(), { "--database", role_.database } );
    arguments.insert( arguments.end(), options_.begin(), options_.end() );
    if ( const auto option = sandboxOption(); !option.empty() )
        arguments.push_back( option );
    std::vector<char*> argv;
    for ( auto& argument : arguments )
        argv.push_back( argument.data() );
    argv.push_back( nullptr );

    int pipes[2];
    if ( ::pipe2( pipes, O_CLOEXEC ) != 0 )
        throw std::runtime_error( "no pipe" );
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init( &actions );
    posix_spawn_file_actions_adddup2( &actions, pipes[1], STDOUT_FILENO );
    if ( !log_.empty() )
        posix_spawn_file_actions_addopen( &actions, STDERR_FILENO, log_.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600 );
    if ( ::posix_spawn( &pid_, argv[0], &actions, nullptr, argv.data(), environ ) != 0 )
        throw std::runtime_error( "the back end does not start" );
    posix_spawn_file_actions_destroy( &actions );
    ::close( pipes[1] );
    std::string line;
    char c = 0;
    while ( ::read( pipes[0], &c, 1 ) == 1 && c != '\n' )
        line += c;
    ::close( pipes[0] );
    if ( line.find( " ready" ) == std::string::npos )
        throw std::runtime_error( "the back end is not ready: " + line );
    if ( role_.port != 0 )
        ::setenv( "SSL_CERT_FILE", ( folder_.path() / "ca.pem" ).c_str(), 1 );
}

void BackendProcess::kill()
{
    ::kill( pid_, SIGKILL );
    ::waitpid( pid_, nullptr, 0 );
    pid_ = -1;
}

void BackendProcess::signal( int number ) const
{
    ::kill( pid_, number );
}

int BackendProcess::awaitEnd()
{
    int status = 0;
    for ( const Patience patience; ::waitpid( pid_, &status, WNOHANG ) == 0; patience.check( "it does not end" ) )
        std::this_thread::sleep_for( std::chrono::milliseconds( 10 ) );
    pid_ = -1;
    return WIFEXITED( status ) ? WEXITSTATUS( status ) : -1;
}

void BackendProcess::restart()
{
    if ( pid_ > 0 )
        kill();
    start_();
}

bool BackendProcess::isRunning() const
{
    return pid_ > 0 && ::waitpid( pid_, nullptr, WNOHANG ) == 0;
}

} // namespace VX::Testing
