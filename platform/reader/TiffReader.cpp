#include "TiffReader.h"

#include "TiffPages.h"

#include <VXMesh/formats/voxels/TiffNames.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>

#include <algorithm>

namespace VX
{
namespace
{

using Error = tl::unexpected<std::string>;

constexpr float cLooking = 0.1f; // of the whole time

std::string shown( const std::filesystem::path& file )
{
    return "\"" + printable( utf8string( file.filename() ), 100 ) + "\"";
}

/// The pages of one or several files, in order.
class Stack
{
public:
    explicit Stack( std::vector<std::filesystem::path> files )
        : files_( std::move( files ) )
    {
    }

    /// Calls `each( file, page )` for every page; stops at its first error.
    template <typename Each>
    tl::expected<void, std::string> forPages( const ProgressCallback& progress, const Each& each ) const
    {
        for ( size_t i = 0; i < files_.size(); ++i )
        {
            auto file = TiffFile::open( files_[i] );
            if ( !file )
                return Error( named_( i, file.error() ) );
            auto isThere = file->rewind();
            if ( isThere && !*isThere )
                return Error( named_( i, "it has no page" ) );
            for ( ; isThere && *isThere; isThere = file->next() )
            {
                if ( !reportProgress( progress, float( i ) / float( files_.size() ) ) )
                    return Error( cOperationCanceled );
                const auto page = file->page();
                if ( !page )
                    return Error( named_( i, page.error() ) );
                if ( auto done = each( *file, *page ); !done )
                    return Error( named_( i, done.error() ) );
            }
            if ( !isThere )
                return Error( named_( i, isThere.error() ) );
        }
        return {};
    }

private:
    std::string named_( size_t i, const std::string& what ) const
    {
        return files_.size() == 1 ? what : shown( files_[i] ) + ": " + what;
    }

    std::vector<std::filesystem::path> files_;
};

std::string kindOf( const TiffPage& page )
{
    return std::to_string( page.width ) + " x " + std::to_string( page.height ) + " pixels of " +
           std::to_string( 8 * page.rowBytes() / page.width ) + " bits";
}

tl::expected<FileVoxels, std::string> voxelsOf( const Stack& stack, const ProgressCallback& progress )
{
    TiffPage first;
    uint64_t count = 0;
    const auto looked = stack.forPages( progress,
        [&]( const TiffFile&, const TiffPage& page ) -> tl::expected<void, std::string>
        {
            if ( count == 0 )
                first = page;
            else if ( !first.isLike( page ) )
                return Error( "page " + std::to_string( count + 1 ) + " has " + kindOf( page ) + " and the first one " +
                              kindOf( first ) + ", or another kind of number; all have to be alike" );
            if ( ++count > uint64_t( VolumeBuilder::cMostAlong ) )
                return Error( "it has too many pages" );
            return {};
        } );
    if ( !looked )
        return Error( looked.error() );
    FileVoxels out{ .number = first.number, .channels = first.channels };
    out.grid.size = { int( first.width ), int( first.height ), int( count ) };
    out.grid.spacing = { first.stepX, first.stepY, first.stepZ > 0 ? first.stepZ : first.stepX };
    return out;
}

} // namespace

bool isTiff( const std::filesystem::path& path )
{
    std::error_code ec;
    return std::filesystem::is_directory( path, ec ) || isTiffName( path );
}

tl::expected<void, std::string> readTiff(
    const std::filesystem::path& path, const VoxelSink& sink, const ProgressCallback& progress )
{
    std::error_code ec;
    const bool isFolder = std::filesystem::is_directory( path, ec );
    const auto files = isFolder ? numberedTiffs( path ) : std::vector{ path };
    if ( files.empty() )
        return Error( "there is no TIFF file in it" );
    const Stack stack( files );
    const auto voxels = voxelsOf( stack, subprogress( progress, 0, cLooking ) );
    if ( !voxels )
        return Error( voxels.error() );
    if ( !sink.begin( *voxels ) )
        return Error( cOperationCanceled );
    // Nothing but bytes may be said from here on.
    return stack.forPages( {},
        [&]( const TiffFile& file, const TiffPage& page ) -> tl::expected<void, std::string>
        {
            const auto bytes = file.read( page );
            if ( !bytes )
                return Error( bytes.error() );
            if ( !sink.write( *bytes ) )
                return Error( cOperationCanceled );
            return {};
        } );
}

} // namespace VX
