#include <VXMesh/formats/voxels/Nifti.h>

#include <VXMesh/formats/voxels/DataFiles.h>
#include <VXMesh/formats/voxels/NiftiHeader.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>

#include <array>

namespace VX
{
namespace
{

using Error = tl::unexpected<std::string>;

std::unique_ptr<ByteSource> unpacked( const FilePart& part )
{
    auto source = partsSource( { part } );
    return looksLikeGzip( part.bytes() ) ? inflated( std::move( source ) ) : std::move( source );
}

/// "head.img.gz" beside "head.hdr.gz", and each with the ending the other has not, packed or not.
tl::expected<std::filesystem::path, std::string> partner(
    const std::filesystem::path& file, const std::string& from, const std::string& to )
{
    const bool isPacked = toLower( utf8string( file.extension() ) ) == ".gz";
    const auto bare = isPacked ? file.parent_path() / file.stem() : file;
    const bool isUpper = utf8string( bare.extension() ) == "." + std::string( from == "hdr" ? "HDR" : "IMG" );
    auto name = to;
    if ( isUpper )
        name = to == "hdr" ? "HDR" : "IMG";
    auto beside = bare;
    beside.replace_extension( name );
    for ( const auto* packed : { "", ".gz" } )
    {
        auto candidate = beside;
        candidate += packed;
        std::error_code ec;
        if ( std::filesystem::is_regular_file( candidate, ec ) )
            return candidate;
    }
    return Error( "The file \"" + utf8string( beside.filename() ) + "\" that belongs to it is missing" );
}

bool isNamed( const std::filesystem::path& file, const std::string& extension )
{
    const auto name = toLower( utf8string( file.filename() ) );
    return name.ends_with( "." + extension ) || name.ends_with( "." + extension + ".gz" );
}

tl::expected<NiftiHeader, std::string> headerOf( const FilePart& part )
{
    std::array<std::byte, NiftiHeader::cSize2> bytes;
    const auto got = unpacked( part )->read( bytes );
    if ( !got )
        return Error( got.error() );
    return NiftiHeader::of( std::span( bytes ).first( *got ) );
}

} // namespace

tl::expected<ReadVolume, std::string> readNifti( const std::filesystem::path& file, const ProgressCallback& progress )
{
    auto headerFile = file;
    if ( isNamed( file, "img" ) )
    {
        auto beside = partner( file, "img", "hdr" );
        if ( !beside )
            return Error( beside.error() );
        headerFile = *beside;
    }
    auto part = wholeFile( headerFile );
    if ( !part )
        return Error( part.error() );
    const auto header = headerOf( *part );
    if ( !header )
        return Error( header.error() );
    std::string warnings;
    const auto voxels = header->voxels( warnings );
    if ( !voxels )
        return Error( voxels.error() );

    if ( !header->isAlone )
    {
        const auto beside = partner( headerFile, "hdr", "img" );
        part = beside ? wholeFile( *beside ) : Error( beside.error() );
        if ( !part )
            return Error( part.error() );
    }
    const double least =
        header->isAlone ? double( header->version == 2 ? NiftiHeader::cSize2 : NiftiHeader::cSize1 ) : 0;
    if ( !( header->offset <= 1e15 ) )
        return Error( "It claims that its voxels begin beyond every file" );
    const auto offset = uint64_t( std::max( header->offset, least ) );
    return withWarnings(
        std::move( warnings ), readVoxels( [&] { return skipped( unpacked( *part ), offset ); }, *voxels, progress ) );
}

} // namespace VX
