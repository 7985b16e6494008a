#include <VXMesh/formats/voxels/Nrrd.h>

#include <VXMesh/formats/voxels/DataFiles.h>
#include <VXMesh/formats/voxels/NrrdHeader.h>

namespace VX
{
namespace
{

using Error = tl::unexpected<std::string>;

tl::expected<std::vector<std::string>, std::string> patternNames( const std::vector<std::string>& words )
{
    const auto first = wholeNumber( words[1] ), last = wholeNumber( words[2] );
    const auto step = words.size() > 3 ? wholeNumber( words[3] ) : int64_t( 1 );
    if ( !first || !last || !step )
        return Error( "The pattern of the names of its files makes no sense" );
    return numberedNames( words[0], *first, *last, *step );
}

/// The files that the header names.
tl::expected<std::vector<std::string>, std::string> dataNames( const NrrdHeader& header )
{
    const auto words = wordsOf( header.dataFile );
    if ( !words.empty() && words[0] == "LIST" )
        return header.listed;
    if ( words.size() >= 3 && words.size() <= 5 && words[0].find( '%' ) != std::string::npos )
        return patternNames( words );
    return std::vector{ header.dataFile };
}

tl::expected<std::vector<FilePart>, std::string> dataParts(
    const NrrdHeader& header, const std::filesystem::path& file, const FilePart& whole )
{
    if ( header.dataFile.empty() )
        return std::vector{ FilePart{ whole.file, header.size, whole.size - header.size } };
    const auto names = dataNames( header );
    if ( !names )
        return Error( names.error() );
    std::vector<FilePart> out;
    for ( const auto& name : *names )
    {
        auto part = namedFile( file, name );
        if ( !part )
            return Error( part.error() );
        out.push_back( std::move( *part ) );
    }
    return out;
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
    auto read = readVoxelsAt( place, *voxels, progress );
    if ( read )
    {
        addWarning( warnings, read->warnings );
        read->warnings = warnings;
    }
    return read;
}

} // namespace VX
