#include "converter/ConvertCommand.h"

#include "converter/Bubblewrap.h"

#include <VXMesh/io/AtomicFile.h>
#include <VXMesh/io/MappedFile.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/ScratchFolder.h>
#include <VXMesh/io/Text.h>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include <poll.h>
#include <unistd.h>

namespace VX::Backend
{
namespace
{

namespace fs = std::filesystem;

std::atomic<bool> sStop{ false };
static_assert( std::atomic<bool>::is_always_lock_free );

void stopAtSignal( int )
{
    sStop = true;
}

/// What is wrong with the files before the work begins; empty when nothing is.
std::string problemOf( const ConvertCommand& command )
{
    std::error_code ec;
    const auto name = utf8string( command.input );
    if ( !fs::exists( command.input, ec ) )
        return "There is no file \"" + name + "\"";
    if ( !fs::is_regular_file( command.input, ec ) )
        return "\"" + name + "\" is not a file";
    if ( ::access( command.input.c_str(), R_OK ) != 0 )
        return "\"" + name + "\" cannot be read: permission denied";
    if ( fs::file_size( command.input, ec ) > command.limits.outputSize )
        return fmt::format(
            "\"{}\" is larger than the {} MiB that a conversion takes", name, command.limits.outputSize >> 20 );
    if ( toLower( utf8string( command.output.extension() ) ) != ".vxu" )
        return "The result is a scene: let the name of \"" + utf8string( command.output ) + "\" end in .vxu";
    const auto folder = command.output.has_parent_path() ? command.output.parent_path() : fs::path( "." );
    if ( !fs::is_directory( folder, ec ) )
        return "There is no folder \"" + utf8string( folder ) + "\"";
    return {};
}

/// The output keeps what it was until the result is whole.
tl::expected<void, std::string> keepResult( const fs::path& result, const fs::path& output )
{
    std::error_code ec;
    if ( fs::symlink_status( result, ec ).type() != fs::file_type::regular )
        return tl::unexpected( std::string( "The converter left no scene" ) );
    const auto scene = MappedFile::open( result );
    if ( !scene )
        return tl::unexpected( scene.error() );
    const std::span<const std::byte> parts[] = { scene->bytes() };
    return writeFileAtomically( output, parts );
}

tl::expected<void, std::string> convert( const ConvertCommand& command, const WorkerProcess::Progress& progress )
{
    if ( auto problem = problemOf( command ); !problem.empty() )
        return tl::unexpected( std::move( problem ) );
    const ScratchFolder scratch( "orvanta-convert-" );
    if ( scratch.path().empty() )
        return tl::unexpected( std::string( "No working folder can be made; set TMPDIR to a folder with space" ) );
    const bool inBubblewrap = canUseBubblewrap();
    if ( !inBubblewrap )
        spdlog::warn( "bubblewrap cannot be used here: workers run with limits and the kernel's filters alone" );
    const auto worker = WorkerProcess::start( scratch.path(), { command.limits, inBubblewrap, false, {} } );
    if ( !worker )
        return tl::unexpected( worker.error() );
    std::error_code ec;
    if ( !fs::copy_file( command.input, ( *worker )->plainInputFile(), ec ) )
        return tl::unexpected( fmt::format( "\"{}\" cannot be copied into the working folder \"{}\": {}",
            utf8string( command.input ), utf8string( scratch.path() ), ec.message() ) );
    if ( auto done = ( *worker )->convert( sStop, progress ); !done )
        return done;
    return keepResult( ( *worker )->resultFile(), command.output );
}

/// Whether something, be it the end, comes from standard input in so many milliseconds; -1 is for ever.
bool hasInput( int milliseconds )
{
    pollfd input{ STDIN_FILENO, POLLIN, 0 };
    int ready = 0;
    while ( ( ready = ::poll( &input, 1, milliseconds ) ) < 0 && errno == EINTR )
        continue;
    return ready != 0;
}

void stopAtInput()
{
    sStop = hasInput( 0 );
    // Ends with the process: nobody else waits for this input.
    std::thread( [] { sStop = sStop || hasInput( -1 ); } ).detach();
}

WorkerProcess::Progress progressLines( const ConvertCommand& command )
{
    if ( command.forProgram )
        return []( float done )
        {
            std::printf( "progress %.3f\n", double( done ) );
            std::fflush( stdout );
        };
    // A terminal shows one line that changes.
    const bool terminal = ::isatty( STDERR_FILENO ) == 1;
    return [terminal]( float done )
    { std::fprintf( stderr, "%s%d %%%s", terminal ? "\r" : "", int( done * 100 ), terminal && done < 1 ? "" : "\n" ); };
}

int finish( const ConvertCommand& command, const tl::expected<void, std::string>& done )
{
    const char* const newLine = ::isatty( STDERR_FILENO ) == 1 ? "\n" : "";
    if ( !done && sStop )
    {
        std::fprintf( stderr, "%sCanceled\n", newLine );
        return cConvertCanceled;
    }
    if ( command.forProgram )
        std::printf( "%s\n", done ? "done" : ( "error " + done.error() ).c_str() );
    else if ( !done )
        std::fprintf( stderr, "%sCannot convert: %s\n", newLine, done.error().c_str() );
    std::fflush( stdout );
    return done ? 0 : 1;
}

} // namespace

int runConvertCommand( const ConvertCommand& command )
{
    std::signal( SIGINT, &stopAtSignal );
    std::signal( SIGTERM, &stopAtSignal );
    std::signal( SIGHUP, &stopAtSignal );
    std::signal( SIGPIPE, SIG_IGN );
    if ( command.forProgram )
        stopAtInput();
    const auto progress = progressLines( command );
    progress( 0 );
    const auto done = convert( command, progress );
    if ( done )
        progress( 1 );
    return finish( command, done );
}

} // namespace VX::Backend
