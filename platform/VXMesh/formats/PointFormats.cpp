#include <VXMesh/formats/PointFormats.h>

#include <VXMesh/formats/MeshFile.h>
#include <VXMesh/io/MappedFile.h>
#include <VXMesh/io/Path.h>
#include <VXMesh/scene/Origin.h>

#include <charconv>
#include <string_view>

namespace VX
{
namespace
{

/// The numbers at the start of a line, at most six; separators are spaces, tabs, commas and semicolons.
size_t readNumbers( std::string_view line, std::array<double, 6>& out )
{
    size_t count = 0;
    const char* p = line.data();
    const char* end = p + line.size();
    while ( count < out.size() )
    {
        while ( p < end && ( *p == ' ' || *p == '\t' || *p == ',' || *p == ';' || *p == '\r' ) )
            ++p;
        const auto [rest, error] = std::from_chars( p, end, out[count] );
        if ( error != std::errc{} )
            break;
        p = rest;
        ++count;
    }
    return count;
}

Color colorOf( const std::array<double, 6>& numbers )
{
    const auto channel = []( double v ) { return v > 0 ? uint8_t( std::min( v, 255. ) ) : uint8_t( 0 ); };
    return { channel( numbers[3] ), channel( numbers[4] ), channel( numbers[5] ), 255 };
}

tl::expected<LoadedObjects, std::string> loadPoints(
    const std::filesystem::path& file, const ProgressCallback& progress )
{
    const auto mapped = MappedFile::open( file );
    if ( !mapped )
        return tl::unexpected( mapped.error() );
    const std::string_view text( reinterpret_cast<const char*>( mapped->bytes().data() ), mapped->bytes().size() );
    auto cloud = std::make_shared<PointCloud>();
    std::vector<Vector3d> points;
    Box3d box;
    bool colored = true;
    size_t skipped = 0;
    for ( size_t begin = 0, line = 0; begin < text.size(); ++line )
    {
        const size_t end = std::min( text.find( '\n', begin ), text.size() );
        std::array<double, 6> numbers{};
        const size_t count = readNumbers( text.substr( begin, end - begin ), numbers );
        const Vector3d point{ numbers[0], numbers[1], numbers[2] };
        if ( count >= 3 && fitsFloat( point ) )
        {
            points.push_back( point );
            box.include( point );
            colored = colored && count == 6;
            if ( colored )
                cloud->colors.push_back( colorOf( numbers ) );
        }
        else
            ++skipped;
        begin = end + 1;
        if ( line % 65536 == 0 && !reportProgress( progress, float( begin ) / float( text.size() ) ) )
            return tl::unexpected( std::string( cOperationCanceled ) );
    }
    if ( points.empty() )
        return tl::unexpected( "\"" + utf8string( file.filename() ) + "\" holds no points" );
    if ( !colored )
        cloud->colors.clear();

    const Vector3d origin = originFor( box );
    cloud->points = relativeTo( origin, points );
    LoadedObjects out = pointsOfFile( file, std::move( cloud ), origin );
    if ( skipped > 1 )
        out.warnings = std::to_string( skipped ) + " lines without a point were left out";
    return out;
}

} // namespace

FileFormat pointsFormat()
{
    return { "Points as text", { ".xyz", ".pts", ".txt" }, &loadPoints };
}

} // namespace VX
