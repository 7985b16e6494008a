#include "TestPlaces.h"
#include "support/Command.h"
#include "support/Patience.h"
#include "support/service/BackendProcess.h"
#include "support/service/Processes.h"
#include "support/service/SandboxOption.h"

#include "converter/WorkerProcess.h"

#include <VXMesh/system/Sanitizer.h>

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace VX;

namespace
{

/// How a start ends that is to fail, with the data in a folder of its own.
Testing::CommandOutput start(
    const std::filesystem::path& data, const std::string& options, const std::string& before = {} )
{
    return Testing::runCommand( before + " /usr/bin/timeout 100 " + ORVANTA_BACKEND + " serve --port 0 --data '" +
                                data.string() + "' " + options + " 2>&1" );
}

/// The lines of a file of /proc, by their names.
std::map<std::string, std::string> factsOf( int pid, const std::string& file )
{
    std::map<std::string, std::string> out;
    std::ifstream in( "/proc/" + std::to_string( pid ) + "/" + file );
    for ( std::string line; std::getline( in, line ); )
        if ( const auto end = line.find( ":\t" ); end != line.npos )
            out[line.substr( 0, end )] = line.substr( end + 2 );
    return out;
}

uint64_t limitOf( int pid, const std::string& name )
{
    std::ifstream in( "/proc/" + std::to_string( pid ) + "/limits" );
    for ( std::string line; std::getline( in, line ); )
        if ( uint64_t limit = 0; line.starts_with( name ) )
            return std::istringstream( line.substr( name.size() ) ) >> limit ? limit : 0;
    return 0;
}

template <typename Condition>
void await( const Condition& condition, const char* what )
{
    for ( const Testing::Patience patience; !condition(); patience.check( what ) )
        std::this_thread::sleep_for( std::chrono::milliseconds( 5 ) );
}

/// A worker of the service that has entered the sandbox.
int cagedWorkerOf( const Testing::BackendProcess& backend )
{
    int out = 0;
    const auto found = [&]
    {
        for ( const int pid : Testing::descendantsOf( backend.pid() ) )
            if ( Testing::isWorker( pid ) && factsOf( pid, "status" )["Seccomp"] == "2" )
                out = pid;
        return out != 0;
    };
    await( found, "no worker enters the sandbox" );
    return out;
}

/// What any of a service's processes has among its arguments.
std::vector<int> processesNaming( const std::filesystem::path& folder )
{
    std::vector<int> out;
    for ( const int pid : Testing::allProcesses() )
        if ( Testing::factsOfProcess( pid, "cmdline" ).find( folder.string() ) != std::string::npos )
            out.push_back( pid );
    return out;
}

void expectCaged( int worker )
{
    auto status = factsOf( worker, "status" );
    for ( const char* what : { "Uid", "Gid" } )
    {
        std::istringstream numbers( status[what] );
        for ( unsigned id = 0; numbers >> id; )
            EXPECT_NE( id, 0u ) << what;
    }
    for ( const char* what : { "CapPrm", "CapEff", "CapAmb" } )
        EXPECT_EQ( status[what], "0000000000000000" ) << what;
    EXPECT_EQ( status["NoNewPrivs"], "1" );
    if ( !cHasSanitizer )
    {
        EXPECT_GT( limitOf( worker, "Max address space" ), 0u );
    }
    EXPECT_GT( limitOf( worker, "Max processes" ), 0u );
    EXPECT_LT( limitOf( worker, "Max processes" ), 10'000u );
    EXPECT_EQ( Testing::factsOfProcess( worker, "oom_score_adj" ), "500\n" );
}

} // namespace

TEST( Cage, WithoutBubblewrapThereIsNoStart )
{
    const Testing::ScratchFolder folder;
    const auto data = folder.path() / "data";
    for ( const char* option : { "", "--check" } )
    {
        const auto refused = start( data, option, "env PATH=/nowhere" );
        EXPECT_EQ( refused.status, 1 );
        EXPECT_NE( refused.text.find( "bubblewrap cannot be used here" ), std::string::npos ) << refused.text;
        EXPECT_NE( refused.text.find( "--without-sandbox" ), std::string::npos ) << refused.text;
        EXPECT_EQ( refused.text.find( "is ready" ), std::string::npos );
        EXPECT_FALSE( std::filesystem::exists( data ) );
    }
}

TEST( Cage, MemoryOfTheServiceIsClosedToOthersOfTheSameUser )
{
    // Root may read all memory, so there it is another user's service that is looked at. Whoever runs it, and looks,
    // may go into all folders: those on the way to the program may be root's.
    std::vector<std::string> somebody;
    if ( ::geteuid() == 0 )
        somebody = { "/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
            "--inh-caps=+dac_override,+dac_read_search,+fowner",
            "--ambient-caps=+dac_override,+dac_read_search,+fowner" };
    const Testing::BackendProcess backend( { "--without-sandbox" }, {}, somebody );
    std::string as;
    for ( const auto& word : somebody )
        as += word + " ";
    const auto facts = "/proc/" + std::to_string( backend.pid() ) + "/";
    const auto look = [&]( const std::string& file )
    { return Testing::runCommand( as + "/usr/bin/head -c 1 " + file + " 2>&1" ); };
    EXPECT_EQ( look( facts + "status" ).text, "N" );
    for ( const char* file : { "mem", "environ", "maps" } )
    {
        const auto seen = look( facts + file );
        EXPECT_NE( seen.status, 0 ) << file;
        EXPECT_NE( seen.text.find( "Permission denied" ), std::string::npos ) << file << ": " << seen.text;
    }
}

TEST( Cage, AWorkerHasNothingOfRootAndLittleOfTheMachine )
{
    const Testing::BackendProcess backend;
    expectCaged( cagedWorkerOf( backend ) );
}

TEST( Cage, AWorkerWithoutBubblewrapHasNothingOfRootEither )
{
    const Testing::BackendProcess backend( { "--allow-anonymous", "--without-sandbox" } );
    expectCaged( cagedWorkerOf( backend ) );
}

TEST( Cage, AWorkerThatHoldsStillGoesWithTheServiceToo )
{
    for ( const auto& option : { Testing::sandboxOption(), std::string( "--without-sandbox" ) } )
    {
        std::vector<std::string> options{ "--allow-anonymous" };
        if ( !option.empty() )
            options.push_back( option );
        Testing::BackendProcess backend( options );
        const int worker = cagedWorkerOf( backend );
        ::kill( worker, SIGSTOP );
        backend.kill();
        await( [&] { return ::kill( worker, 0 ) != 0; }, "the worker stays when the service has gone" );
    }
}

TEST( Cage, AServiceWhoseWorkersCannotLoadDoesNotStart )
{
    if ( !Testing::sandboxOption().empty() )
        GTEST_SKIP() << "bubblewrap cannot be used here";
    // Its libraries lie where workers do not see them.
    const Testing::ScratchFolder folder;
    std::filesystem::create_directory( folder.path() / "bin" );
    const auto program = folder.path() / "bin" / "orvanta-backend";
    std::filesystem::copy_file( ORVANTA_BACKEND, program );
    const auto libraries = std::filesystem::path( ORVANTA_BACKEND ).parent_path().parent_path() / "lib";
    const auto ended =
        Testing::runCommand( "LD_LIBRARY_PATH='" + libraries.string() + "' timeout 100 '" + program.string() +
                             "' serve --port 0 --data '" + ( folder.path() / "data" ).string() + "' 2>&1" );
    EXPECT_EQ( ended.status, 1 );
    EXPECT_NE( ended.text.find( "error while loading shared libraries" ), std::string::npos ) << ended.text;
    EXPECT_NE( ended.text.find( "No file can be converted here" ), std::string::npos ) << ended.text;
    EXPECT_EQ( ended.text.find( "is ready" ), std::string::npos ) << ended.text;
}

TEST( Cage, AServiceWhoseWorkersCannotFinishDoesNotStart )
{
    if ( cHasSanitizer )
        GTEST_SKIP() << "a sanitizer needs all memory";
    const Testing::ScratchFolder folder;
    const auto ended = start( folder.path() / "data", "--worker-memory 1 " + Testing::sandboxOption() );
    EXPECT_EQ( ended.status, 1 );
    EXPECT_NE( ended.text.find( "No file can be converted here" ), std::string::npos ) << ended.text;
    EXPECT_EQ( ended.text.find( "is ready" ), std::string::npos ) << ended.text;
}

TEST( Cage, WhoeverKillsTheServiceAtWhateverMomentLeavesNothingOfIt )
{
    const Testing::ScratchFolder folder;
    std::string data = ( folder.path() / "data" ).string();
    std::vector<std::string> words{ ORVANTA_BACKEND, "serve", "--slots", "4", "--port", "0", "--data", data };
    if ( const auto option = Testing::sandboxOption(); !option.empty() )
        words.push_back( option );
    std::vector<char*> arguments;
    for ( auto& word : words )
        arguments.push_back( word.data() );
    arguments.push_back( nullptr );
    constexpr int cTimes = 40;
    for ( int i = 0; i < cTimes; ++i )
    {
        pid_t pid = 0;
        ASSERT_EQ( ::posix_spawn( &pid, arguments[0], nullptr, nullptr, arguments.data(), environ ), 0 );
        // The moments of all its beginnings, as long as they take here.
        std::this_thread::sleep_for( std::chrono::milliseconds( 20 * i ) );
        ::kill( pid, SIGKILL );
        ::waitpid( pid, nullptr, 0 );
        await( [&] { return processesNaming( data ).empty(); }, "something stays when the service has gone" );
    }
}
