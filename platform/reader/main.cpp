/// Reads one file and writes it to standard output as a scene or as voxels, for VX::readInProcess. The libraries that
/// it reads with are not to be trusted with strangers' files, so this process gives up all that reading does not need,
/// first.
#include "AssimpReader.h"
#include "TiffReader.h"

#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/formats/voxels/TiffNames.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>
#include <VXMesh/io/WriteAll.h>
#include <VXMesh/system/Sandbox.h>
#include <VXMesh/system/StandardOutput.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <limits>
#include <locale>
#include <new>
#include <span>
#include <sstream>

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

using namespace VX;

namespace
{

constexpr float cParsing = 0.8f; // of the whole time; packing takes the rest

class Speaker
{
public:
    explicit Speaker( int out )
        : out_( out )
    {
    }

    /// False when nobody listens any more.
    bool say( std::string line ) const
    {
        std::replace( line.begin(), line.end(), '\n', ' ' );
        line += '\n';
        return send( std::as_bytes( std::span( line ) ) );
    }

    bool send( std::span<const std::byte> bytes ) const { return writeAll( out_, bytes ) == 0; }

    bool progress( float fraction )
    {
        constexpr float cStep = 0.01f;
        if ( fraction < said_ + cStep )
            return true;
        said_ = fraction;
        return say( "progress " + std::to_string( fraction ) );
    }

private:
    int out_;
    float said_ = 0;
};

tl::expected<std::vector<std::byte>, std::string> sceneOf(
    const std::filesystem::path& file, const ProgressCallback& progress )
try
{
    const auto root = readWithAssimp( file, subprogress( progress, 0, cParsing ) );
    if ( !root )
        return tl::unexpected( root.error() );
    return writeVxu( { &*root, 1 }, subprogress( progress, cParsing, 1 ) );
}
catch ( const std::bad_alloc& )
{
    return tl::unexpected( std::string( "there is not enough memory" ) );
}
catch ( const std::exception& )
{
    return tl::unexpected( std::string( cUnreadable ) );
}

/// "voxels", the number and the channels that each has, how many there are along each axis, and the steps between them.
std::string voxelLine( const FileVoxels& voxels )
{
    std::ostringstream out;
    out.imbue( std::locale::classic() );
    out.precision( std::numeric_limits<double>::max_digits10 );
    out << "voxels " << int( voxels.number ) << ' ' << int( voxels.channels );
    for ( const int n : voxels.grid.size )
        out << ' ' << n;
    const auto& steps = voxels.grid.spacing;
    out << ' ' << steps.x << ' ' << steps.y << ' ' << steps.z;
    return out.str();
}

/// False when not all was said.
bool tellVoxels( const std::filesystem::path& path, Speaker& speaker )
{
    bool hasBegun = false;
    const VoxelSink sink{ .begin =
                              [&]( const FileVoxels& voxels )
                          {
                              hasBegun = true;
                              return speaker.say( voxelLine( voxels ) );
                          },
        .write = [&]( std::span<const std::byte> bytes ) { return speaker.send( bytes ); } };
    std::string error;
    try
    {
        const auto done = readTiff( path, sink, [&]( float f ) { return speaker.progress( f ); } );
        if ( done )
            return true;
        error = done.error();
    }
    catch ( const std::bad_alloc& )
    {
        error = "there is not enough memory";
    }
    // Whoever waits for bytes takes words for some, so the end has to do.
    return !hasBegun && speaker.say( "error " + error );
}

bool tellScene( const std::filesystem::path& file, Speaker& speaker )
{
    const auto scene = sceneOf( file, [&]( float f ) { return speaker.progress( f ); } );
    return scene ? speaker.say( "scene " + std::to_string( scene->size() ) ) && speaker.send( *scene )
                 : speaker.say( "error " + scene.error() );
}

/// A file that makes us eat all memory shall cost nobody else their process.
void offerToDieFirst()
{
    const int score = ::open( "/proc/self/oom_score_adj", O_WRONLY );
    if ( score >= 0 && ::write( score, "1000", 4 ) == 4 )
        ::close( score );
}

uint64_t physicalMemory()
{
    return uint64_t( std::max( ::sysconf( _SC_PHYS_PAGES ), 0L ) ) * uint64_t( ::sysconf( _SC_PAGESIZE ) );
}

std::filesystem::path folderOf( const std::filesystem::path& file )
{
    return file.has_parent_path() ? file.parent_path() : ".";
}

/// Files of these kinds name others: materials, buffers and the like.
bool namesOthers( const std::filesystem::path& file )
{
    constexpr std::array cKinds = { ".obj", ".gltf", ".dae", ".fbx", ".3ds" };
    const auto kind = toLower( utf8string( file.extension() ) );
    return std::find( cKinds.begin(), cKinds.end(), kind ) != cKinds.end();
}

uint64_t sizeOfTiffs( const std::filesystem::path& folder )
{
    uint64_t out = 0;
    for ( const auto& file : numberedTiffs( folder ) )
        if ( std::error_code ec; const auto size = std::filesystem::file_size( file, ec ) )
            out += ec ? 0 : size;
    return out;
}

/// With the buffers that lie beside a description.
uint64_t sizeOf( const std::filesystem::path& file )
{
    std::error_code ec;
    if ( std::filesystem::is_directory( file, ec ) )
        return sizeOfTiffs( file );
    uint64_t out = std::filesystem::file_size( file, ec );
    if ( ec )
        return 0;
    if ( toLower( utf8string( file.extension() ) ) != ".gltf" )
        return out;
    for ( std::filesystem::directory_iterator it( folderOf( file ), ec ), end; !ec && it != end; it.increment( ec ) )
        if ( std::error_code none; it->path().extension() == ".bin" && it->is_regular_file( none ) )
            out += it->file_size( none );
    return out;
}

FileView viewOf( const std::filesystem::path& file )
{
    FileView out{ { file }, {} };
    if ( namesOthers( file ) )
        out.readable.push_back( folderOf( file ) );
    return out;
}

} // namespace

int main( int argc, char** argv )
{
    if ( argc != 2 )
        return 2;
    Speaker speaker( takeStandardOutput() );
    ::prctl( PR_SET_PDEATHSIG, SIGKILL );
    offerToDieFirst();
    const uint64_t memory = memoryForReading( sizeOf( argv[1] ), physicalMemory() );
    const auto refused = enterSandbox( { memory, 0, 0 }, SandboxFiles::Read, viewOf( argv[1] ) );
    const std::filesystem::path file = argv[1];
    const bool told = !refused.empty() ? speaker.say( "error " + refused )
                      : isTiff( file ) ? tellVoxels( file, speaker )
                                       : tellScene( file, speaker );
    // Destructors would only give memory back that goes with the process, or stumble over what a file has damaged.
    ::_exit( told ? 0 : 1 );
}
