#include "worker/WorkerMain.h"

#include "worker/StepReader.h"

#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/io/Zip.h>
#include <VXMesh/system/Sandbox.h>
#include <VXMesh/system/Sanitizer.h>
#include <VXMesh/system/StandardOutput.h>

#include <json/writer.h>

#include <fstream>
#include <new>
#include <thread>
#include <tuple>

#include <unistd.h>

namespace VX::Backend
{
namespace
{

bool waitForJob()
{
    char byte = 0;
    return ::read( STDIN_FILENO, &byte, 1 ) == 1;
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
    options.processes = int( std::thread::hardware_concurrency() );
    options.progress = [report]( float done ) { std::ignore = say( report, "progress", double( done ) ); };
    const auto objects = readStep( input, job.folder, options );
    if ( !objects )
        return tl::unexpected( objects.error() );
    const auto bytes = writeVxu( *objects );
    if ( !bytes )
        return tl::unexpected( bytes.error() );
    std::ofstream out( job.folder / "result.vxu", std::ios::binary );
    out.write( reinterpret_cast<const char*>( bytes->data() ), std::streamsize( bytes->size() ) );
    out.close();
    if ( !out )
        return tl::unexpected( std::string( "The converted file is too large" ) );
    return {};
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

} // namespace

int runWorker( const WorkerJob& job )
{
    const int report = takeStandardOutput();
    warmUpStepReader( job.folder );
    const auto threads = std::max( std::thread::hardware_concurrency(), 1u );
    std::ifstream status( "/proc/self/status" ); // it cannot be opened later
    const auto refused =
        enterSandbox( { job.memory, job.outputSize, job.seconds * threads }, SandboxFiles::Write, viewOf( job ) );
    if ( !waitForJob() )
        return 0;

    const tl::expected<void, std::string> done =
        refused.empty() ? convertWithinMemory( job, report, status ) : tl::unexpected( refused );
    const bool told = done ? say( report, "done", true ) : say( report, "error", done.error() );
    // Destructors would only give memory back that goes with the process.
    ::_exit( told ? 0 : 1 );
}

} // namespace VX::Backend
