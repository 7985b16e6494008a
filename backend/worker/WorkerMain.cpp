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

tl::expected<void, std::string> convert( const WorkerJob& job )
{
    const auto input = job.folder / "input.step";
    UnzipLimits limits;
    limits.maxEntrySize = job.outputSize;
    if ( auto unpacked = extractSingleFile( job.folder / "input.zip", input, limits ); !unpacked )
        return unpacked;
    StepOptions options;
    options.processes = int( std::thread::hardware_concurrency() );
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
tl::expected<void, std::string> convertWithinMemory( const WorkerJob& job, std::ifstream& status )
{
    tl::expected<void, std::string> done;
    bool exhausted = false;
    try
    {
        done = convert( job );
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

    Json::Value result;
    const tl::expected<void, std::string> done =
        refused.empty() ? convertWithinMemory( job, status ) : tl::unexpected( refused );
    if ( done )
        result["done"] = true;
    else
        result["error"] = done.error();
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    const auto line = Json::writeString( builder, result ) + "\n";
    const bool told = ::write( report, line.data(), line.size() ) == ssize_t( line.size() );
    // Destructors would only give memory back that goes with the process.
    ::_exit( told ? 0 : 1 );
}

} // namespace VX::Backend
