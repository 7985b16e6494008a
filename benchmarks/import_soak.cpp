/// Hundreds of imports in a row, a third of them canceled at a random moment, and what memory they leave:
/// import_soak FILE [IMPORTS]     (benchmarks/imports --soak starts the back end for it)
#include <VXMesh/io/Progress.h>
#include <VXOrvanta/converter/ConverterService.h>
#include <VXViewer/web/WebRequest.h>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <cstdlib>
#include <fstream>
#include <random>
#include <string>

#include <unistd.h>

namespace
{

using namespace VX;

size_t residentKilobytes()
{
    std::ifstream status( "/proc/self/status" );
    for ( std::string word; status >> word; )
        if ( size_t kilobytes = 0; word == "VmRSS:" && status >> kilobytes )
            return kilobytes;
    return 0;
}

size_t openDescriptors()
{
    size_t count = 0;
    for ( const auto& entry : std::filesystem::directory_iterator( "/proc/self/fd" ) )
        count += entry.path().empty() ? 0 : 1;
    return count;
}

/// Says no at a random call of it, or never, and tells that it did: a transfer that is stopped fails with a text of its
/// own.
ProgressCallback cancelSometime( std::mt19937& random, bool& stopped )
{
    const int calls = random() % 3 == 0 ? int( random() % 8 ) : -1;
    return [calls, seen = 0, &stopped]( float ) mutable
    {
        stopped = stopped || ( calls >= 0 && seen++ >= calls );
        return !stopped;
    };
}

} // namespace

int main( int argc, char** argv )
{
    if ( argc < 2 )
    {
        fmt::print( stderr, "Usage: import_soak FILE [IMPORTS]\n" );
        return EXIT_FAILURE;
    }
    spdlog::set_level( spdlog::level::warn );
    const std::filesystem::path file = argv[1];
    const int imports = argc > 2 ? std::atoi( argv[2] ) : 500;
    const auto copy = std::filesystem::temp_directory_path() / fmt::format( "orvanta-soak-{}.step", ::getpid() );
    std::filesystem::copy_file( file, copy );
    const auto result = std::filesystem::path( "/.service_output_files" ) / copy.filename().replace_extension( ".vxu" );
    std::mt19937 random( 1 );
    int done = 0, canceled = 0, failed = 0;
    fmt::print( "{:>8} {:>8} {:>12}\n", "imports", "MB", "descriptors" );
    for ( int i = 1; i <= imports; ++i )
    {
        bool stopped = false;
        const auto loaded = ConverterService::fromStep( copy, cancelSometime( random, stopped ) );
        ( loaded ? done : stopped ? canceled : failed ) += 1;
        if ( !loaded && !stopped )
            fmt::print( stderr, "{}\n", loaded.error() );
        std::filesystem::remove( result ); // or it would answer the next
        if ( i == 1 || i % 50 == 0 )
            fmt::print( "{:>8} {:>8.1f} {:>12}\n", i, double( residentKilobytes() ) / 1024, openDescriptors() );
    }
    std::filesystem::remove( copy );
    finishWebRequests( std::chrono::seconds( 5 ) );
    fmt::print( "{} done, {} canceled, {} failed\n", done, canceled, failed );
    return failed == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
