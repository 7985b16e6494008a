#include "worker/WorkerMain.h"

#include "worker/ResultFile.h"
#include "worker/StepReader.h"

#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/io/Zip.h>
#include <VXMesh/system/Sandbox.h>
#include <VXMesh/system/Sanitizer.h>
#include <VXMesh/system/StandardOutput.h>

#include <json/writer.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>
#include <optional>
#include <thread>
#include <tuple>

#include <grp.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace VX::Backend
{
namespace
{

/// Which one comes; nothing when nobody is there any more.
std::optional<char> waitForJob()
{
    char byte = 0;
    return ::read( STDIN_FILENO, &byte, 1 ) == 1 ? std::optional( byte ) : std::nullopt;
}

/// What strangers' files make a library say is for nobody, and goes where standard output went.
bool fallSilent()
{
    if ( std::getenv( "ORVANTA_WORKER_STDERR" ) )
        return true;
    ::close( STDERR_FILENO );
    return ::dup( STDOUT_FILENO ) == STDERR_FILENO;
}

/// Writes a line of JSON; false when nobody reads.
bool say( int report, const char* key, const Json::Value& value )
{
    Json::Value object;
    object[key] = value;
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    const auto line = Json::writeString( builder, object ) + "\n";
    return ::write( report, line.data(), line.size() ) == ssize_t( line.size() );
}

tl::expected<void, std::string> unpack( const WorkerJob& job, const std::filesystem::path& input )
{
    const auto archive = job.folder / "input.zip";
    std::error_code ec;
    if ( !std::filesystem::exists( archive, ec ) )
        return {};
    UnzipLimits limits;
    limits.maxEntrySize = job.outputSize;
    return extractSingleFile( archive, input, limits );
}

tl::expected<void, std::string> convert( const WorkerJob& job, int report )
{
    const auto input = job.folder / "input.step";
    if ( auto unpacked = unpack( job, input ); !unpacked )
        return unpacked;
    StepOptions options;
    options.processes = job.processes;
    options.progress = [report]( float done ) { std::ignore = say( report, "progress", double( done ) ); };
    const auto objects = readStep( input, job.folder, options );
    if ( !objects )
        return tl::unexpected( objects.error() );
    const auto bytes = writeVxu( *objects );
    if ( !bytes )
        return tl::unexpected( bytes.error() );
    return writeResult( job.folder / "result.vxu", *bytes );
}

/// Whether this process has come close to its limit of memory, by its own status as it is now.
bool wasShortOfMemory( std::ifstream& status, uint64_t limit )
{
    for ( std::string word; status >> word; )
        if ( uint64_t kilobytes = 0; word == "VmPeak:" && status >> kilobytes )
            return kilobytes * 1024 > limit / 100 * 85;
    return false;
}

/// A library that runs out of memory often takes that for damage in the file.
tl::expected<void, std::string> convertWithinMemory( const WorkerJob& job, int report, std::ifstream& status )
{
    tl::expected<void, std::string> done;
    bool exhausted = false;
    try
    {
        done = convert( job, report );
    }
    catch ( const std::bad_alloc& )
    {
        exhausted = true;
    }
    if ( exhausted || ( !done && !cHasSanitizer && wasShortOfMemory( status, job.memory ) ) )
        return tl::unexpected( std::string( "The file needs more memory than a conversion may use" ) );
    return done;
}

/// The system's libraries and what they come with, and the folder of the job.
FileView viewOf( const WorkerJob& job )
{
    return { { "/usr", "/lib", "/lib64", "/etc/ld.so.cache", "/etc/alternatives" }, { job.folder } };
}

/// When memory runs out it goes, and not the service.
void offerToDieFirst()
{
    // What is closed to others cannot be written by its own user either; there is nothing to see here yet.
    ::prctl( PR_SET_DUMPABLE, 1, 0, 0, 0 );
    std::ofstream( "/proc/self/oom_score_adj" ) << 500;
    ::prctl( PR_SET_DUMPABLE, 0, 0, 0, 0 );
}

/// Whether this process belongs to that user now and to no group but its own, and has nothing of root's.
bool becomeUser( unsigned user )
{
    if ( user != 0 && ( ::setgroups( 0, nullptr ) != 0 || ::setresgid( user, user, user ) != 0 ||
                          ::setresuid( user, user, user ) != 0 ) )
        return false;
    return ::geteuid() != 0 && ::getuid() != 0;
}

/// What there is to do before anything is loaded; false, after saying why, when it cannot be done.
bool settle( const WorkerJob& job )
{
    offerToDieFirst();
    // The folders above may be closed to whom it becomes.
    const bool isThere = ::chdir( job.folder.c_str() ) == 0;
    const bool isNobody = isThere && becomeUser( job.user );
    if ( !isNobody )
        std::fprintf( stderr, "A worker cannot %s\n", isThere ? "give up being root" : "enter its folder" );
    // Behind bubblewrap that ends with its parent, too; here it has nobody else.
    return isNobody && ::prctl( PR_SET_PDEATHSIG, SIGKILL ) == 0;
}

} // namespace

int runWorker( WorkerJob job )
{
    const int report = takeStandardOutput();
    if ( !settle( job ) )
        return 1;
    job.folder = ".";
    warmUpStepReader( job.folder );
    const auto threads = std::max( std::thread::hardware_concurrency(), 1u );
    std::ifstream status( "/proc/self/status" ); // it cannot be opened later
    const auto refused =
        enterSandbox( { job.memory, job.outputSize, job.seconds * threads, tasksOfThisUser() + job.tasks },
            SandboxFiles::Write, viewOf( job ) );
    for ( auto kind = waitForJob(); kind; kind = waitForJob() )
    {
        if ( *kind != cTry && !fallSilent() )
            return 1;
        const tl::expected<void, std::string> done =
            refused.empty() ? convertWithinMemory( job, report, status ) : tl::unexpected( refused );
        const bool told = done ? say( report, "done", true ) : say( report, "error", done.error() );
        // Destructors would only give memory back that goes with the process.
        if ( *kind != cTry || !told )
            ::_exit( told ? 0 : 1 );
    }
    return 0;
}

} // namespace VX::Backend
