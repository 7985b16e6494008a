#include <VXMesh/formats/ReaderProcess.h>

#include <VXMesh/formats/MeshFile.h>
#include <VXMesh/formats/VolumeFormats.h>
#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/formats/voxels/VoxelStream.h>
#include <VXMesh/io/Text.h>
#include <VXMesh/system/ChildProcess.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <span>
#include <variant>

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

/// What a reader hands over: all of a scene, or what the voxels are whose bytes come next.
using Answer = std::variant<Scene, FileVoxels>;

template <typename Number>
std::optional<Number> numberOf( std::string_view text )
{
    Number value{};
    const auto [end, error] = std::from_chars( text.data(), text.data() + text.size(), value );
    if ( error != std::errc{} || end != text.data() + text.size() )
        return {};
    return value;
}

/// What stands behind "voxels"; whoever builds the volume looks at whether it makes sense.
std::optional<FileVoxels> voxelsOf( std::string_view text )
{
    std::vector<double> numbers;
    while ( !text.empty() )
    {
        const auto end = std::min( text.find( ' ' ), text.size() );
        const auto number = numberOf<double>( text.substr( 0, end ) );
        if ( !number || numbers.size() == 8 )
            return {};
        numbers.push_back( *number );
        text.remove_prefix( std::min( end + 1, text.size() ) );
    }
    const auto isWhole = [&]( size_t i, double most )
    { return numbers[i] >= 0 && numbers[i] <= most && numbers[i] == std::floor( numbers[i] ); };
    if ( numbers.size() != 8 || !isWhole( 0, double( FileNumber::Float64 ) ) ||
         !isWhole( 1, double( Channels::Complex ) ) )
        return {};
    FileVoxels out{ .number = FileNumber( numbers[0] ), .channels = Channels( numbers[1] ) };
    for ( size_t i = 0; i < 3; ++i )
    {
        if ( !isWhole( i + 2, VolumeBuilder::cMostAlong ) )
            return {};
        out.grid.size[i] = int( numbers[i + 2] );
    }
    out.grid.spacing = { numbers[5], numbers[6], numbers[7] };
    return out;
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

    tl::expected<Answer, std::string> answer()
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
                advance( std::min( numberOf<float>( rest ).value_or( 0 ), 1.f ) );
            else if ( verb == "error" && !rest.empty() )
                return tl::unexpected( printable( rest, cMaxWords ) );
            else if ( const auto size = numberOf<uint64_t>( rest ); verb == "scene" && size && *size <= cMaxScene )
                return scene_( size_t( *size ) );
            else if ( const auto voxels = voxelsOf( rest ); verb == "voxels" && voxels )
                return Answer( *voxels );
            else
                return tl::unexpected( std::string( cGaveUp ) );
        }
    }

    /// What comes next, as much as there is room for; less at the end.
    tl::expected<size_t, std::string> bytes( std::span<std::byte> out )
    {
        size_t filled = std::min( out.size(), pending_.size() );
        std::copy_n( std::as_bytes( std::span( pending_ ) ).begin(), filled, out.begin() );
        pending_.erase( 0, filled );
        while ( filled < out.size() )
        {
            const auto n = read_( out.data() + filled, out.size() - filled );
            if ( !n )
                return n;
            if ( *n == 0 )
                break;
            filled += *n;
        }
        return filled;
    }

    /// Tells how far whoever takes the bytes has come; true, since the next bytes ask whether to go on.
    bool advance( float fraction )
    {
        fraction_ = std::max( fraction_, fraction );
        return true;
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
    tl::expected<Answer, std::string> scene_( size_t size )
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

/// The bytes of voxels as they come from a reader.
class SpokenSource final : public ByteSource
{
public:
    explicit SpokenSource( Conversation& conversation )
        : conversation_( conversation )
    {
    }
    tl::expected<size_t, std::string> read( std::span<std::byte> out ) override { return conversation_.bytes( out ); }

private:
    Conversation& conversation_;
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
    Conversation conversation( *reader, subprogress( progress, 0, cReading ) );
    const auto answer = conversation.answer();
    if ( !answer )
        return fail( answer.error() );
    if ( const auto* scene = std::get_if<Scene>( &*answer ) )
    {
        auto loaded = readVxu( *scene, subprogress( progress, cReading, 1 ) );
        return loaded ? std::move( loaded ) : fail( loaded.error() );
    }
    const auto read = readVoxels( [&] { return std::make_unique<SpokenSource>( conversation ); },
        std::get<FileVoxels>( *answer ), [&]( float fraction ) { return conversation.advance( fraction ); } );
    return read ? volumeOfFile( file, read->volume, read->warnings ) : fail( read.error() );
}

} // namespace VX
