#include <VXMesh/formats/BinaryPly.h>

#include <VXMesh/formats/BlockWork.h>
#include <VXMesh/formats/MeshFile.h>
#include <VXMesh/io/MappedFile.h>
#include <VXMesh/scene/Mesh.h>
#include <VXMesh/scene/Origin.h>
#include <VXMesh/system/Parallel.h>

#include <array>
#include <atomic>
#include <charconv>
#include <cstring>
#include <limits>
#include <string_view>

namespace VX
{
namespace
{

constexpr size_t cMaxHeader = 64 * 1024;
constexpr size_t cBlock = 4096;
constexpr size_t cLeastForThread = 100'000;
constexpr size_t cMissing = std::numeric_limits<size_t>::max();
// A byte that says three, and three indices.
constexpr size_t cFaceRecord = 13;

enum class Type
{
    Byte,
    Short,
    Int,
    Float,
    Double,
    Unknown
};

Type typeOf( std::string_view name )
{
    if ( name == "char" || name == "uchar" || name == "int8" || name == "uint8" )
        return Type::Byte;
    if ( name == "short" || name == "ushort" || name == "int16" || name == "uint16" )
        return Type::Short;
    if ( name == "int" || name == "uint" || name == "int32" || name == "uint32" )
        return Type::Int;
    if ( name == "float" || name == "float32" )
        return Type::Float;
    return name == "double" || name == "float64" ? Type::Double : Type::Unknown;
}

size_t sizeOf( Type type )
{
    constexpr std::array<size_t, 5> cSizes = { 1, 2, 4, 4, 8 };
    return cSizes[size_t( type )];
}

bool hasHeaderEnd( std::string_view text )
{
    return text.find( "\nend_header\n" ) != std::string_view::npos ||
           text.find( "\nend_header\r" ) != std::string_view::npos;
}

/// The words of a line; at most five are of interest.
std::array<std::string_view, 5> wordsOf( std::string_view line )
{
    std::array<std::string_view, 5> out;
    for ( auto& word : out )
    {
        line.remove_prefix( std::min( line.find_first_not_of( " \t\r" ), line.size() ) );
        word = line.substr( 0, line.find_first_of( " \t\r" ) );
        line.remove_prefix( word.size() );
    }
    return out;
}

/// Where things are in the file. Parsing fails for files that are not of the kind that is read here.
class Header
{
public:
    bool parse( std::string_view text )
    {
        text = text.substr( 0, cMaxHeader );
        size_t at = 0;
        for ( bool first = true; at < text.size(); first = false )
        {
            const size_t end = text.find( '\n', at );
            if ( end == std::string_view::npos )
                return false;
            const auto words = wordsOf( text.substr( at, end - at ) );
            at = end + 1;
            if ( first ? words[0] != "ply" : words[0] == "end_header" )
            {
                size = at;
                return !first && isComplete_();
            }
            if ( !first && !line_( words ) )
                return false;
        }
        return false;
    }

    size_t size = 0; ///< bytes
    size_t vertices = 0, faces = 0;
    size_t stride = 0;                 ///< of a vertex
    Type positionType = Type::Unknown; ///< the same in all directions
    std::array<size_t, 3> position{ cMissing, cMissing, cMissing };
    std::array<size_t, 3> normal{ cMissing, cMissing, cMissing };
    std::array<size_t, 4> color{ cMissing, cMissing, cMissing, cMissing };

private:
    enum class Element
    {
        None,
        Vertex,
        Face,
        After
    };

    bool line_( const std::array<std::string_view, 5>& words )
    {
        if ( words[0] == "format" )
            return binary_ = words[1] == "binary_little_endian";
        if ( words[0] == "element" )
            return elementLine_( words[1], words[2] );
        if ( words[0] == "property" && element_ == Element::Vertex )
            return vertexProperty_( words[1], words[2] );
        if ( words[0] == "property" && element_ == Element::Face )
            return !std::exchange( indexed_, true ) && words[1] == "list" && typeOf( words[2] ) == Type::Byte &&
                   typeOf( words[3] ) == Type::Int && ( words[4] == "vertex_indices" || words[4] == "vertex_index" );
        return true;
    }

    bool elementLine_( std::string_view name, std::string_view count )
    {
        uint32_t number = 0;
        const auto [end, error] = std::from_chars( count.data(), count.data() + count.size(), number );
        if ( error != std::errc{} || end != count.data() + count.size() )
            return false;
        if ( element_ == Element::None && name == "vertex" )
        {
            element_ = Element::Vertex;
            vertices = number;
            return true;
        }
        if ( element_ == Element::Vertex && name == "face" )
        {
            element_ = Element::Face;
            faces = number;
            return true;
        }
        // What comes after the faces is in nobody's way.
        const bool harmless = element_ == Element::Face || element_ == Element::After || number == 0;
        element_ = element_ == Element::None ? Element::None : Element::After;
        return harmless;
    }

    bool vertexProperty_( std::string_view typeName, std::string_view name )
    {
        const Type type = typeOf( typeName );
        if ( type == Type::Unknown )
            return false;
        const auto take = [&]( auto& offsets, std::initializer_list<std::string_view> names, Type wanted )
        {
            const auto it = std::find( names.begin(), names.end(), name );
            if ( it == names.end() )
                return true;
            offsets[size_t( it - names.begin() )] = stride;
            return type == wanted;
        };
        if ( name == "x" || name == "y" || name == "z" )
            positionType = positionType == Type::Unknown ? type : positionType;
        const bool known = take( position, { "x", "y", "z" }, positionType ) &&
                           take( normal, { "nx", "ny", "nz" }, Type::Float ) &&
                           take( color, { "red", "green", "blue", "alpha" }, Type::Byte );
        stride += sizeOf( type );
        return known;
    }

    [[nodiscard]] bool isComplete_() const
    {
        const auto present = []( const auto& offsets, size_t count )
        { return std::find( offsets.begin(), offsets.begin() + count, cMissing ) == offsets.begin() + count; };
        return binary_ && vertices > 0 && present( position, 3 ) &&
               ( positionType == Type::Float || positionType == Type::Double ) && ( faces == 0 || indexed_ ) &&
               ( present( normal, 3 ) || normal[0] == cMissing ) && ( present( color, 3 ) || color[0] == cMissing );
    }

    bool binary_ = false;
    bool indexed_ = false;
    Element element_ = Element::None;
};

template <typename T>
Vector3<T> vectorAt( const std::byte* record, const std::array<size_t, 3>& offsets )
{
    Vector3<T> out;
    std::memcpy( &out.x, record + offsets[0], sizeof out.x );
    std::memcpy( &out.y, record + offsets[1], sizeof out.y );
    std::memcpy( &out.z, record + offsets[2], sizeof out.z );
    return out;
}

Color colorAt( const std::byte* record, const std::array<size_t, 4>& offsets )
{
    const auto channel = [&]( size_t i ) { return std::to_integer<uint8_t>( record[offsets[i]] ); };
    return { channel( 0 ), channel( 1 ), channel( 2 ), offsets[3] == cMissing ? uint8_t( 255 ) : channel( 3 ) };
}

/// All of the mesh but its points, which go to a place of their own. False when a point is not a number.
template <typename T>
bool readVertices(
    const Header& header, const std::byte* records, std::vector<Vector3<T>>& points, Mesh& mesh, BlockWork& work )
{
    const bool normals = header.faces > 0 && header.normal[0] != cMissing, colors = header.color[0] != cMissing;
    points.resize( header.vertices );
    mesh.normals.resize( normals ? header.vertices : 0 );
    mesh.vertexColors.resize( colors ? header.vertices : 0 );
    std::atomic<bool> finite = true;
    forPieces( header.vertices, threadsFor( header.vertices, cLeastForThread ),
        [&]( size_t begin, size_t end, size_t piece )
        {
            const auto read = [&]( size_t first, size_t last )
            {
                bool all = true;
                for ( size_t i = first; i < last; ++i )
                {
                    const std::byte* record = records + i * header.stride;
                    points[i] = vectorAt<T>( record, header.position );
                    all = all && fitsFloat( points[i] );
                    if ( normals )
                        mesh.normals[i] = vectorAt<float>( record, header.normal );
                    if ( colors )
                        mesh.vertexColors[i] = colorAt( record, header.color );
                }
                if ( !all )
                    finite = false;
            };
            work.forBlocks( begin, end, cBlock, { 0.5f, 1, piece == 0 }, read );
        } );
    return finite;
}

/// The origin that the mesh's points are seen from; nothing when a point is not a number.
std::optional<Vector3d> readPoints( const Header& header, const std::byte* records, Mesh& mesh, BlockWork& work )
{
    if ( header.positionType == Type::Float )
        return readVertices( header, records, mesh.points, mesh, work ) ? std::optional( moveToOrigin( mesh.points ) )
                                                                        : std::nullopt;
    std::vector<Vector3d> points;
    if ( !readVertices( header, records, points, mesh, work ) )
        return {};
    Box3d box;
    for ( const auto& p : points )
        box.include( p );
    const Vector3d origin = originFor( box );
    mesh.points = relativeTo( origin, points );
    return origin;
}

enum class Faces
{
    Triangles,
    Polygons,
    OutOfRange
};

Faces readFaces(
    const Header& header, const std::byte* records, size_t room, std::vector<Triangle>& triangles, BlockWork& work )
{
    const size_t count = std::min( header.faces, room );
    triangles.resize( count );
    std::atomic<Faces> result = Faces::Triangles;
    forPieces( count, threadsFor( count, cLeastForThread ),
        [&]( size_t begin, size_t end, size_t piece )
        {
            const auto read = [&]( size_t first, size_t last )
            {
                for ( size_t i = first; i < last; ++i )
                {
                    const std::byte* record = records + i * cFaceRecord;
                    if ( *record != std::byte{ 3 } )
                        result = Faces::Polygons;
                    std::memcpy( &triangles[i], record + 1, sizeof triangles[i] );
                    const auto& t = triangles[i];
                    if ( std::max( { t[0], t[1], t[2] } ) >= header.vertices && result != Faces::Polygons )
                        result = Faces::OutOfRange;
                }
            };
            work.forBlocks( begin, end, cBlock, { 0, 0.5f, piece == 0 }, read );
        } );
    return result;
}

} // namespace

std::optional<tl::expected<LoadedObjects, std::string>> loadBinaryPly(
    const std::filesystem::path& file, const ProgressCallback& progress )
{
    const auto mapped = MappedFile::open( file );
    if ( !mapped )
        return tl::unexpected( mapped.error() );
    const auto bytes = mapped->bytes();
    const std::string_view text( reinterpret_cast<const char*>( bytes.data() ), bytes.size() );
    // Other readers look for the end for ever.
    if ( !text.starts_with( "ply" ) || !hasHeaderEnd( text.substr( 0, cMaxHeader ) ) )
        return tl::unexpected( cannotRead( file, "its header is damaged or missing" ) );
    Header header;
    if ( !header.parse( text ) )
        return {};
    BlockWork work( progress );
    const size_t room = bytes.size() - header.size;
    const auto fail = [&]( const std::string& why ) { return tl::unexpected( cannotRead( file, why ) ); };
    if ( header.vertices > room / header.stride )
        return fail( "it is cut off: it should hold " + std::to_string( header.vertices ) + " points and holds " +
                     std::to_string( room / header.stride ) );
    auto mesh = std::make_shared<Mesh>();
    const std::byte* records = bytes.data() + header.size;
    const size_t faceRoom = ( room - header.vertices * header.stride ) / cFaceRecord;
    const auto faces = readFaces( header, records + header.vertices * header.stride, faceRoom, mesh->triangles, work );
    if ( work.stopped() )
        return tl::unexpected( std::string( cOperationCanceled ) );
    if ( faces == Faces::Polygons )
        return {};
    if ( header.faces > faceRoom )
        return fail( "it is cut off: it should hold " + std::to_string( header.faces ) + " triangles and holds " +
                     std::to_string( faceRoom ) );
    if ( faces == Faces::OutOfRange )
        return fail( "a triangle refers to a point that does not exist" );
    const auto origin = readPoints( header, records, *mesh, work );
    if ( work.stopped() )
        return tl::unexpected( std::string( cOperationCanceled ) );
    if ( !origin )
        return fail( "a point's place is not a number" );
    if ( header.faces == 0 )
        return pointsOfFile( file,
            std::make_shared<PointCloud>( PointCloud{ std::move( mesh->points ), std::move( mesh->vertexColors ) } ),
            *origin );
    addCreases( *mesh );
    return meshOfFile( file, std::move( mesh ), *origin );
}

} // namespace VX
