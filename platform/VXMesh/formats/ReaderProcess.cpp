#include <VXMesh/formats/ReaderProcess.h>

#include <VXMesh/formats/MeshFile.h>
#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/io/Text.h>
#include <VXMesh/system/ChildProcess.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <optional>
#include <span>

#include <dlfcn.h>

namespace VX
{
namespace
{

constexpr float cReading = 0.9f; // of the whole progress; the rest is ours
constexpr size_t cMaxLine = 1000;
constexpr size_t cMaxWords = 300;
constexpr uint64_t cMaxScene = uint64_t( 4 ) << 30; // as much as a .vxu file can hold
constexpr int cSlice = 50;                          // ms between two looks at whether to stop

constexpr const char* cGaveUp = "its reader gave up; the file may be damaged";

using Scene = std::vector<std::byte>;

template <typename Number>
std::optional<Number> numberOf( std::string_view text )
{
    Number value{};
    const auto [end, error] = std::from_chars( text.data(), text.data() + text.size(), value );
    if ( error != std::errc{} || end != text.data() + text.size() )
        return {};
    return value;
}

/// Follows what a reader says until it hands over a scene or gives up.
class Conversation
{
public:
    Conversation( const ChildProcess& reader, ProgressCallback progress )
        : reader_( reader )
        , progress_( std::move( progress ) )
    {
    }

    tl::expected<Scene, std::string> scene()
    {
        for ( ;; )
        {
            const auto line = line_();
            if ( !line )
                return tl::unexpected( line.error() );
            const std::string_view words = *line;
            const auto space = words.find( ' ' );
            const auto rest = space == words.npos ? std::string_view{} : words.substr( space + 1 );
            const auto verb = words.substr( 0, space );
            if ( verb == "progress" )
                fraction_ = std::max( fraction_, std::min( numberOf<float>( rest ).value_or( 0 ), 1.f ) );
            else if ( verb == "error" && !rest.empty() )
                return tl::unexpected( printable( rest, cMaxWords ) );
            else if ( const auto size = numberOf<uint64_t>( rest ); verb == "scene" && size && *size <= cMaxScene )
                return bytes_( size_t( *size ) );
            else
                return tl::unexpected( std::string( cGaveUp ) );
        }
    }

private:
    tl::expected<std::string, std::string> line_()
    {
        for ( ;; )
        {
            if ( const auto end = pending_.find( '\n' ); end != pending_.npos )
            {
                auto line = pending_.substr( 0, end );
                pending_.erase( 0, end + 1 );
                return line;
            }
            char buffer[4096];
            const auto n = pending_.size() < cMaxLine ? read_( buffer, sizeof buffer ) : 0;
            if ( !n )
                return tl::unexpected( n.error() );
            if ( *n == 0 )
                return tl::unexpected( std::string( cGaveUp ) );
            pending_.append( buffer, *n );
        }
    }

    /// Memory grows with what has come, not with what was promised.
    tl::expected<Scene, std::string> bytes_( size_t size )
    {
        constexpr size_t cStep = size_t( 16 ) << 20;
        const auto here = std::as_bytes( std::span( pending_ ).first( std::min( size, pending_.size() ) ) );
        Scene out( here.begin(), here.end() );
        for ( size_t filled = out.size(); filled < size; )
        {
            if ( filled == out.size() )
                out.resize( std::min( size, filled + std::max( cStep, filled ) ) );
            const auto n = read_( out.data() + filled, out.size() - filled );
            if ( !n )
                return tl::unexpected( n.error() );
            if ( *n == 0 )
                return tl::unexpected( std::string( cGaveUp ) );
            filled += *n;
        }
        return out;
    }

    tl::expected<size_t, std::string> read_( void* data, size_t size )
    {
        do
            if ( !reportProgress( progress_, fraction_ ) )
                return tl::unexpected( std::string( cOperationCanceled ) );
        while ( reader_.waitForOutput( cSlice ) == ChildProcess::Output::Silent );
        return reader_.read( data, size );
    }

    const ChildProcess& reader_;
    ProgressCallback progress_;
    std::string pending_;
    float fraction_ = 0;
};

std::vector<std::string> readerEnvironment()
{
    std::vector<std::string> out = { "LC_ALL=C.UTF-8" };
    for ( const char* name : { "ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS" } )
        if ( const char* value = std::getenv( name ) )
            out.push_back( std::string( name ) + "=" + value );
    return out;
}

} // namespace

std::filesystem::path readerProgram()
{
    Dl_info self{};
    ::dladdr( reinterpret_cast<const void*>( &readerProgram ), &self );
    std::error_code ec;
    const auto library = std::filesystem::canonical( self.dli_fname ? self.dli_fname : "", ec );
    return library.parent_path() / VXMESH_READER;
}

tl::expected<LoadedObjects, std::string> readInProcess(
    const std::filesystem::path& program, const std::filesystem::path& file, const ProgressCallback& progress )
{
    const auto reader = ChildProcess::start( { { program.string(), file.string() }, readerEnvironment() } );
    if ( !reader )
        return tl::unexpected( cannotRead( file, reader.error() ) );
    const auto fail = [&]( const std::string& why ) -> tl::expected<LoadedObjects, std::string>
    { return tl::unexpected( why == cOperationCanceled ? why : cannotRead( file, why ) ); };
    const auto scene = Conversation( *reader, subprogress( progress, 0, cReading ) ).scene();
    if ( !scene )
        return fail( scene.error() );
    auto loaded = readVxu( *scene, subprogress( progress, cReading, 1 ) );
    return loaded ? std::move( loaded ) : fail( loaded.error() );
}

} // namespace VX
