#include "step/LocalConverter.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/io/ScratchFolder.h>
#include <VXMesh/io/Text.h>
#include <VXMesh/system/ChildProcess.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <sstream>

#include <unistd.h>

namespace VX::App
{
namespace
{

namespace fs = std::filesystem;

constexpr const char* cProgram = "orvanta-backend";
constexpr float cConverting = 0.9f; // of the whole progress; the rest is reading the scene
constexpr size_t cMaxLine = 4096;
constexpr size_t cMaxWords = 1000;

std::vector<fs::path> programFolders()
{
    std::error_code ec;
    const auto own = fs::read_symlink( "/proc/self/exe", ec ).parent_path();
    std::vector<fs::path> out{ own, own.parent_path() / "libexec" };
    const char* path = std::getenv( "PATH" );
    std::istringstream folders( path ? path : "" );
    for ( std::string folder; std::getline( folders, folder, ':' ); )
        if ( folder.starts_with( '/' ) )
            out.emplace_back( folder );
    return out;
}

/// Asks a converter to end, which takes its own worker and files down, and gives it a moment for that.
void cancel( const ChildProcess& converter )
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds( 3 );
    if ( !converter.write( "\n", 1 ) )
        return;
    char buffer[256];
    while ( std::chrono::steady_clock::now() < deadline )
        if ( converter.waitForOutput( 50 ) == ChildProcess::Output::Ready &&
             converter.read( buffer, sizeof buffer ) == 0 )
            return;
}

/// Follows what a converter says to its end.
tl::expected<void, std::string> follow( const ChildProcess& converter, const ProgressCallback& progress )
{
    constexpr int cSlice = 50; // ms between two looks at whether to stop
    std::string pending;
    float fraction = 0;
    while ( reportProgress( progress, fraction ) )
    {
        if ( converter.waitForOutput( cSlice ) == ChildProcess::Output::Silent )
            continue;
        char buffer[1024];
        const auto n = converter.read( buffer, sizeof buffer );
        pending.append( buffer, n );
        for ( size_t end = 0; ( end = pending.find( '\n' ) ) != pending.npos; pending.erase( 0, end + 1 ) )
        {
            const auto line = pending.substr( 0, end );
            if ( line == "done" )
                return {};
            if ( line.starts_with( "error " ) )
                return tl::unexpected( printable( line.substr( 6 ), cMaxWords ) );
            if ( line.starts_with( "progress " ) )
                fraction = std::min( std::max( fraction, std::strtof( line.c_str() + 9, nullptr ) ), 1.f );
        }
        if ( n == 0 || pending.size() > cMaxLine )
            return tl::unexpected( std::string( "The converter ended without a result" ) );
    }
    cancel( converter );
    return tl::unexpected( std::string( cOperationCanceled ) );
}

} // namespace

fs::path converterProgram()
{
    for ( const auto& folder : programFolders() )
        if ( ::access( ( folder / cProgram ).c_str(), X_OK ) == 0 )
            return folder / cProgram;
    return {};
}

tl::expected<LoadedObjects, std::string> convertHere(
    const fs::path& program, const fs::path& file, const ProgressCallback& progress )
{
    // A converter that has died must not take the program with it.
    static const auto sIgnored = std::signal( SIGPIPE, SIG_IGN );
    (void)sIgnored;
    if ( program.empty() )
        return tl::unexpected( std::string(
            "STEP files are converted by the program orvanta-backend, which is not installed here. Install the Debian "
            "package \"orvanta-backend-bin\", or put orvanta-backend into a folder of PATH" ) );
    const ScratchFolder scratch( "orvanta-local-" );
    if ( scratch.path().empty() )
        return tl::unexpected( std::string( "No working folder can be made; set TMPDIR to a folder with space" ) );
    const auto scene = scratch.path() / "scene.vxu";
    std::error_code ec;
    const auto converter = ChildProcess::start(
        { { program.string(), "convert", "--for-program", fs::absolute( file, ec ).string(), scene.string() }, {},
            false } );
    if ( !converter )
        return tl::unexpected( converter.error() );
    if ( auto done = follow( *converter, subprogress( progress, 0, cConverting ) ); !done )
        return tl::unexpected( std::move( done.error() ) );
    return loadObjectFromFile( scene, subprogress( progress, cConverting, 1 ) );
}

void registerLocalStepFormat()
{
    FileFormats::add( { "STEP model", { ".step", ".stp" }, []( const fs::path& file, const ProgressCallback& progress )
        { return convertHere( converterProgram(), file, progress ); } } );
}

} // namespace VX::App
