#include <VXMesh/formats/voxels/DataFiles.h>

#include <VXMesh/formats/voxels/HeaderText.h>
#include <VXMesh/formats/voxels/TextNumbers.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/io/Text.h>
#include <VXMesh/volume/VolumeText.h>

#include <algorithm>

namespace VX
{
namespace
{

using Error = tl::unexpected<std::string>;

constexpr const char* cCutOff = "It is cut off";

/// Sources one after the other.
class JoinedSource final : public ByteSource
{
public:
    explicit JoinedSource( std::vector<std::unique_ptr<ByteSource>> sources )
        : sources_( std::move( sources ) )
    {
    }

    tl::expected<size_t, std::string> read( std::span<std::byte> out ) override
    {
        size_t filled = 0;
        while ( filled < out.size() && current_ < sources_.size() )
        {
            const auto got = sources_[current_]->read( out.subspan( filled ) );
            if ( !got )
                return got;
            filled += *got;
            if ( filled < out.size() )
                ++current_;
        }
        return filled;
    }

private:
    std::vector<std::unique_ptr<ByteSource>> sources_;
    size_t current_ = 0;
};

tl::expected<FilePart, std::string> withoutLines( FilePart part, uint64_t lines )
{
    for ( ; lines > 0; --lines )
    {
        const auto bytes = part.bytes();
        const auto end = std::find( bytes.begin(), bytes.end(), std::byte( '\n' ) );
        if ( end == bytes.end() )
            return Error( cCutOff );
        const auto length = size_t( end - bytes.begin() ) + 1;
        part.offset += length;
        part.size -= length;
    }
    return part;
}

} // namespace

tl::expected<FilePart, std::string> wholeFile( const std::filesystem::path& file )
{
    auto mapped = MappedFile::open( file );
    if ( !mapped )
        return Error( mapped.error() );
    const auto shared = std::make_shared<const MappedFile>( std::move( *mapped ) );
    return FilePart{ shared, 0, shared->bytes().size() };
}

tl::expected<FilePart, std::string> namedFile( const std::filesystem::path& headerFile, const std::string& name )
{
    const auto path = pathFromUtf8( name ).lexically_normal();
    const auto shown = "\"" + printable( name, 100 ) + "\"";
    if ( path.empty() || path.is_absolute() || *path.begin() == ".." )
        return Error( "Its voxels are said to be in " + shown + ", which is not in its folder" );
    auto file = wholeFile( headerFile.parent_path() / path );
    if ( !file )
        return Error( "The file with its voxels, " + shown + ", cannot be read" );
    return file;
}

tl::expected<std::vector<FilePart>, std::string> namedFiles(
    const std::filesystem::path& headerFile, const std::vector<std::string>& names )
{
    std::vector<FilePart> out;
    for ( const auto& name : names )
    {
        auto part = namedFile( headerFile, name );
        if ( !part )
            return Error( part.error() );
        out.push_back( std::move( *part ) );
    }
    return out;
}

tl::expected<std::vector<std::string>, std::string> numberedNames( const std::vector<std::string>& words )
{
    const auto first = wholeNumber( words.at( 1 ) ), last = wholeNumber( words.at( 2 ) );
    const auto step = words.size() > 3 ? wholeNumber( words[3] ) : int64_t( 1 );
    if ( !first || !last || !step )
        return Error( "The pattern of the names of its files makes no sense" );
    return numberedNames( words[0], *first, *last, *step );
}

tl::expected<std::vector<std::string>, std::string> numberedNames(
    const std::string& pattern, int64_t first, int64_t last, int64_t step )
{
    constexpr size_t cMostNames = 65536, cMostDigits = 20;
    const auto damaged = Error( "The pattern of the names of its files makes no sense: " + printable( pattern, 100 ) );
    const auto percent = pattern.find( '%' );
    auto end = percent == pattern.npos ? pattern.npos : pattern.find_first_not_of( "0123456789", percent + 1 );
    if ( end == pattern.npos || pattern[end] != 'd' || pattern.find( '%', end ) != pattern.npos || step == 0 ||
         end - percent > 4 )
        return damaged;
    const auto digits = pattern.substr( percent + 1, end - percent - 1 );
    const size_t width = digits.empty() ? 0 : size_t( std::stoi( digits ) );
    const bool isPadded = digits.starts_with( '0' );
    if ( width > cMostDigits )
        return damaged;
    std::vector<std::string> out;
    bool isInRange = true;
    for ( int64_t i = first; isInRange && ( step > 0 ? i <= last : i >= last ); )
    {
        if ( out.size() >= cMostNames )
            return damaged;
        auto number = std::to_string( i );
        if ( number.size() < width )
            number.insert( 0, width - number.size(), isPadded ? '0' : ' ' );
        out.push_back( pattern.substr( 0, percent ) + number + pattern.substr( end + 1 ) );
        isInRange = !__builtin_add_overflow( i, step, &i );
    }
    if ( out.empty() )
        return damaged;
    return out;
}

tl::expected<ReadVolume, std::string> readVoxelsAt(
    const DataPlace& place, const FileVoxels& voxels, const ProgressCallback& progress )
{
    const uint64_t wanted = voxels.bytes();
    std::vector<FilePart> parts;
    uint64_t have = 0;
    for ( const auto& part : place.parts )
    {
        auto cut = withoutLines( part, place.skippedLines );
        if ( !cut )
            return Error( cut.error() );
        if ( place.encoding == DataEncoding::Raw )
        {
            const size_t skip = size_t( std::min<uint64_t>( place.skippedBytes, cut->size ) );
            cut->offset += skip;
            cut->size -= skip;
        }
        have += cut->size;
        parts.push_back( std::move( *cut ) );
    }
    if ( place.isAtEnd )
    {
        if ( parts.size() != 1 || place.encoding != DataEncoding::Raw )
            return Error( "Only voxels in one file, as they are, can be at its end" );
        const size_t skip = parts[0].size - size_t( std::min<uint64_t>( wanted, parts[0].size ) );
        parts[0].offset += skip;
        parts[0].size -= skip;
    }
    // Before much is read for nothing. Where the size makes no sense the builder says so.
    if ( place.encoding == DataEncoding::Raw && wanted > 0 && wanted <= VolumeBuilder::cMostBytes && have < wanted )
        return Error( "It is cut off: it claims " + bytesText( wanted ) + " of voxels and has " + bytesText( have ) );
    const auto open = [&]() -> std::unique_ptr<ByteSource>
    {
        std::vector<std::unique_ptr<ByteSource>> sources;
        for ( const auto& part : parts )
        {
            auto source = partsSource( { part } );
            if ( place.encoding == DataEncoding::Packed )
                source = skipped( inflated( std::move( source ) ), place.skippedBytes );
            sources.push_back( std::move( source ) );
        }
        std::unique_ptr<ByteSource> all = std::make_unique<JoinedSource>( std::move( sources ) );
        if ( place.encoding == DataEncoding::Text )
            return decimals( std::move( all ), voxels.number );
        return place.encoding == DataEncoding::Hex ? hexDigits( std::move( all ) ) : std::move( all );
    };
    auto stored = voxels;
    if ( place.encoding == DataEncoding::Text )
        stored.order = std::endian::native;
    return readVoxels( open, stored, progress );
}

} // namespace VX
