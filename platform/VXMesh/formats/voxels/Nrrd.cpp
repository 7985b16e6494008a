#include <VXMesh/formats/voxels/Nrrd.h>

#include <VXMesh/formats/voxels/DataFiles.h>
#include <VXMesh/formats/voxels/NrrdHeader.h>

namespace VX
{
namespace
{

using Error = tl::unexpected<std::string>;

/// The files that the header names.
tl::expected<std::vector<std::string>, std::string> dataNames( const NrrdHeader& header )
{
    const auto words = wordsOf( header.dataFile );
    if ( !words.empty() && words[0] == "LIST" )
        return header.listed;
    if ( words.size() >= 3 && words.size() <= 5 && words[0].find( '%' ) != std::string::npos )
        return numberedNames( words );
    return std::vector{ header.dataFile };
}

tl::expected<std::vector<FilePart>, std::string> dataParts(
    const NrrdHeader& header, const std::filesystem::path& file, const FilePart& whole )
{
    if ( header.dataFile.empty() )
        return std::vector{ FilePart{ whole.file, header.size, whole.size - header.size } };
    return dataNames( header ).and_then(
        [&]( const std::vector<std::string>& names ) { return namedFiles( file, names ); } );
}

} // namespace

tl::expected<ReadVolume, std::string> readNrrd( const std::filesystem::path& file, const ProgressCallback& progress )
{
    const auto whole = wholeFile( file );
    if ( !whole )
        return Error( whole.error() );
    const auto header = NrrdHeader::of( whole->bytes() );
    if ( !header )
        return Error( header.error() );
    std::string warnings;
    const auto voxels = header->voxels( warnings );
    if ( !voxels )
        return Error( voxels.error() );
    const auto encoding = header->encoding();
    if ( !encoding )
        return Error( encoding.error() );
    auto parts = dataParts( *header, file, *whole );
    if ( !parts )
        return Error( parts.error() );
    DataPlace place{ .parts = std::move( *parts ), .encoding = *encoding };
    const auto skip = header->skip( place );
    if ( !skip )
        return Error( skip.error() );
    return withWarnings( std::move( warnings ), readVoxelsAt( place, *voxels, progress ) );
}

} // namespace VX
