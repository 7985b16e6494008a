/// Import of STEP files through a back end on this machine, beside the same conversion in this process.
/// Usage: import_benchmark FILE… (benchmarks/imports starts the back end for it)
#include "worker/StepReader.h"

#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/scene/VisualObjects.h>
#include <VXOrvanta/converter/ConverterService.h>
#include <VXViewer/web/WebRequest.h>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

namespace
{

using namespace VX;
using Clock = std::chrono::steady_clock;

constexpr int cRounds = 5;

double secondsSince( Clock::time_point begin )
{
    return std::chrono::duration<double>( Clock::now() - begin ).count();
}

double median( std::vector<double> values )
{
    std::sort( values.begin(), values.end() );
    return values[values.size() / 2];
}

bool convertHere( const std::filesystem::path& file )
{
    const auto objects = Backend::readStep( file, std::filesystem::temp_directory_path() );
    if ( !objects )
        return false;
    const auto bytes = writeVxu( *objects );
    return bytes && readVxu( *bytes );
}

/// In a fresh process each time, as the service does it, with the libraries loaded.
double timeHere( const std::filesystem::path& file )
{
    int pipes[2];
    if ( ::pipe( pipes ) != 0 )
        return -1;
    std::fflush( stdout ); // or the child prints it again
    const pid_t child = ::fork();
    if ( child == 0 )
    {
        Backend::warmUpStepReader( std::filesystem::temp_directory_path() );
        const auto begin = Clock::now();
        const double seconds = convertHere( file ) ? secondsSince( begin ) : -1;
        ::_exit( ::write( pipes[1], &seconds, sizeof seconds ) == sizeof seconds ? 0 : 1 );
    }
    double seconds = -1;
    if ( ::read( pipes[0], &seconds, sizeof seconds ) != sizeof seconds )
        seconds = -1;
    ::waitpid( child, nullptr, 0 );
    ::close( pipes[0] );
    ::close( pipes[1] );
    return seconds;
}

double timeRemote( const std::filesystem::path& file, int round )
{
    // A name of its own, or the result of the round before would answer.
    const auto copy =
        std::filesystem::temp_directory_path() / fmt::format( "orvanta-bench-{}-{}.step", ::getpid(), round );
    std::filesystem::copy_file( file, copy, std::filesystem::copy_options::overwrite_existing );
    const auto begin = Clock::now();
    const auto result = ConverterService::fromStep( copy );
    const double seconds = result ? secondsSince( begin ) : -1;
    if ( !result )
        fmt::print( stderr, "{}\n", result.error() );
    std::filesystem::remove( copy );
    std::filesystem::remove(
        std::filesystem::path( "/.service_output_files" ) / copy.filename().replace_extension( ".vxu" ) );
    // The service starts its next worker; a person does not open the next file in the same instant either.
    std::this_thread::sleep_for( std::chrono::milliseconds( 500 ) );
    return seconds;
}

} // namespace

int main( int argc, char** argv )
{
    spdlog::set_level( spdlog::level::warn );
    fmt::print( "{:<28} {:>9} {:>12} {:>10} {:>10}\n", "file", "kB", "here, s", "import, s", "goal, s" );
    for ( int i = 1; i < argc; ++i )
    {
        const std::filesystem::path file = argv[i];
        std::vector<double> here, remote;
        for ( int round = 0; round < cRounds; ++round )
        {
            here.push_back( timeHere( file ) );
            remote.push_back( timeRemote( file, round ) );
        }
        fmt::print( "{:<28} {:>9} {:>12.3f} {:>10.3f} {:>10.3f}\n", file.filename().string(),
            std::filesystem::file_size( file ) / 1000, median( here ), median( remote ), 0.12 + 1.05 * median( here ) );
    }
    finishWebRequests( std::chrono::seconds( 1 ) );
    return 0;
}
