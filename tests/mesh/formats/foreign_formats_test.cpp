#include "TestPlaces.h"
#include "support/ScratchFolder.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/scene/VisualObjects.h>
#include <VXMesh/system/Sanitizer.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstring>

using namespace VX;

namespace
{

constexpr const char* cUnreadable = "it is damaged, or not of the kind that its name says";

/// Files that a library reads in a process of its own.
class ForeignFormats : public testing::Test
{
protected:
    std::shared_ptr<Object> read( const std::string& name, const std::string& bytes )
    {
        const auto loaded = loadObjectFromFile( folder_.write( name, bytes ) );
        EXPECT_TRUE( loaded ) << loaded.error();
        return loaded ? loaded->objects.at( 0 ) : std::make_shared<Object>();
    }
    template <typename Kind>
    const Kind& readAs( const std::string& name, const std::string& bytes )
    {
        object_ = read( name, bytes );
        return dynamic_cast<const Kind&>( *object_ );
    }
    const PointCloud& cloud( const std::string& name, const std::string& bytes )
    {
        return *readAs<ObjectPoints>( name, bytes ).points();
    }
    const Lines& lines( const std::string& name, const std::string& bytes )
    {
        return *readAs<ObjectLines>( name, bytes ).lines();
    }
    std::string error( const std::string& name, const std::string& bytes )
    {
        const auto loaded = loadObjectFromFile( folder_.write( name, bytes ) );
        return loaded ? "" : loaded.error();
    }

    /// Four corners of a square that a primitive of this mode uses one after the other.
    std::string gltf( int mode )
    {
        const float corners[] = { 0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0 };
        folder_.write( "corners.bin", { reinterpret_cast<const char*>( corners ), sizeof corners } );
        return R"({"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[0]}],"nodes":[{"mesh":0}],"meshes":[)"
               R"({"primitives":[{"attributes":{"POSITION":0},"mode":)" +
               std::to_string( mode ) +
               R"(}]}],"accessors":[{"bufferView":0,"componentType":5126,"count":4,"type":"VEC3","min":[0,0,0],"max":)"
               R"([1,1,0]}],"bufferViews":[{"buffer":0,"byteLength":48}],"buffers":[{"byteLength":48,"uri":)"
               R"("corners.bin"}]})";
    }

    Testing::ScratchFolder folder_;
    std::shared_ptr<Object> object_;
};

const std::string cPlyOfThree = "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\n"
                                "property float z\n";

size_t segmentCount( const std::shared_ptr<Object>& root )
{
    size_t out = 0;
    forEachObject( *root,
        [&]( Object& object )
        {
            if ( const auto* lines = dynamic_cast<const ObjectLines*>( &object ) )
                out += lines->lines()->segments.size();
        } );
    return out;
}

/// The archive claims that its model unpacks to this size.
std::string claiming( std::string archive, uint32_t size )
{
    const auto patch = [&]( const std::string& mark, size_t sizeAt, size_t nameAt )
    {
        for ( auto at = archive.find( mark ); at != std::string::npos; at = archive.find( mark, at + 4 ) )
            if ( archive.compare( at + nameAt, 16, "3D/3dmodel.model" ) == 0 )
                std::memcpy( archive.data() + at + sizeAt, &size, sizeof size );
    };
    patch( "PK\1\2", 24, 46 );
    patch( "PK\3\4", 22, 30 );
    return archive;
}

} // namespace

TEST_F( ForeignFormats, TextPlyOfPointsIsACloud )
{
    // Points may coincide, and keep their order.
    const auto& points = cloud( "scan.ply", cPlyOfThree + "property uchar red\nproperty uchar green\n"
                                                          "property uchar blue\nend_header\n"
                                                          "0 0 0 255 0 0\n1 2 3 0 255 0\n1 2 3 0 255 0\n" );
    EXPECT_EQ( points.points, ( std::vector<Vector3f>{ { 0, 0, 0 }, { 1, 2, 3 }, { 1, 2, 3 } } ) );
    ASSERT_EQ( points.colors.size(), 3u );
    EXPECT_EQ( points.colors[1], ( Color{ 0, 255, 0, 255 } ) );
}

TEST_F( ForeignFormats, PlyOfPointsInOtherNumbersIsACloudToo )
{
    EXPECT_EQ( cloud( "none.ply", cPlyOfThree + "element face 0\nproperty list uchar int vertex_indices\nend_header\n"
                                                "0 0 0\n1 0 0\n1 2 0\n" )
                   .points.size(),
        3u );
    std::string bytes = "ply\nformat binary_big_endian 1.0\nelement vertex 2\nproperty double x\nproperty double y\n"
                        "property double z\nend_header\n";
    for ( const double v : { 1., 2., 3., 4., 5., 6. } )
    {
        auto number = std::bit_cast<std::array<char, 8>>( v );
        std::reverse( number.begin(), number.end() );
        bytes.append( number.data(), number.size() );
    }
    EXPECT_EQ( cloud( "double.ply", bytes ).points, ( std::vector<Vector3f>{ { 1, 2, 3 }, { 4, 5, 6 } } ) );
}

TEST_F( ForeignFormats, ObjOfPointsIsACloud )
{
    const std::string points = "v 0 0 0\nv 1 0 0\nv 1 2 0\n";
    EXPECT_EQ( cloud( "bare.obj", points ).points.size(), 3u );
    EXPECT_EQ( cloud( "named.obj", points + "p 1 2 3\n" ).points.size(), 3u );
}

TEST_F( ForeignFormats, ObjOfLinesIsLines )
{
    const auto& path = lines( "path.obj", "v 0 0 0\nv 1 0 0\nv 1 2 0\nl 1 2 3\n" );
    EXPECT_EQ( path.segments.size(), 2u );
    EXPECT_EQ( path.box().max, ( Vector3f{ 1, 2, 0 } ) );
}

TEST_F( ForeignFormats, ObjMayHoldSurfacesLinesAndPoints )
{
    const auto root = read( "all.obj", "v 0 0 0\nv 1 0 0\nv 1 2 0\nv 5 5 5\nv 6 6 6\nf 1 2 3\nl 1 2 4\np 5\n" );
    size_t surfaces = 0, clouds = 0;
    forEachObject( *root,
        [&]( Object& object )
        {
            surfaces += dynamic_cast<ObjectMesh*>( &object ) ? 1 : 0;
            clouds += dynamic_cast<ObjectPoints*>( &object ) ? 1 : 0;
        } );
    EXPECT_EQ( surfaces, 1u );
    EXPECT_EQ( clouds, 1u );
    EXPECT_EQ( segmentCount( root ), 2u );
}

TEST_F( ForeignFormats, GltfOfPointsAndLinesIsRead )
{
    EXPECT_EQ( cloud( "points.gltf", gltf( 0 ) ).points.size(), 4u );
    EXPECT_EQ( lines( "pairs.gltf", gltf( 1 ) ).segments.size(), 2u );
    EXPECT_EQ( lines( "loop.gltf", gltf( 2 ) ).segments.size(), 4u );
    EXPECT_EQ( lines( "strip.gltf", gltf( 3 ) ).segments.size(), 3u );
}

TEST_F( ForeignFormats, SayWhatIsWrongInWordsOfTheirOwn )
{
    const auto cannot = []( const std::string& name, const std::string& why )
    { return "Cannot read \"" + name + "\": " + why; };
    const std::pair<const char*, const char*> damaged[] = { { "a.gltf", "{}" }, { "a.obj", "hello\n" },
        { "a.off", "hello" }, { "b.off", "OFF\n0 0 0\n" }, { "a.3mf", "hello" }, { "a.dae", "<hello" },
        { "b.dae", "<COLLADA version=\"1.4.1\"></COLLADA>" }, { "a.fbx", "hello" }, { "a.3ds", "hello" },
        { "a.ply", "ply\nformat ascii 1.0\nend_header\n" } };
    for ( const auto& [name, bytes] : damaged )
        EXPECT_EQ( error( name, bytes ), cannot( name, cUnreadable ) );
    EXPECT_EQ(
        error( "empty.stl", "solid x\nendsolid\n" ), cannot( "empty.stl", "it holds no surfaces, points or lines" ) );
}

TEST_F( ForeignFormats, NameTheFileThatIsMissingBesideThem )
{
    const auto bytes = gltf( 4 );
    std::filesystem::remove( folder_.path() / "corners.bin" );
    EXPECT_EQ( error( "a.gltf", bytes ),
        "Cannot read \"a.gltf\": \"corners.bin\", which it names, cannot be opened in its folder" );
}

TEST_F( ForeignFormats, TakeNoMoreMemoryThanTheFileMayAskFor )
{
    if ( cHasSanitizer )
        GTEST_SKIP() << "a sanitizer needs all of it";
    // The first byte of the file chooses its format in another test.
    const auto archive =
        Testing::readFile( std::string( ORVANTA_TEST_DATA ) + "/fuzz/corpus/foreign/triangle.3mf" ).substr( 1 );
    EXPECT_EQ( error( "honest.3mf", archive ), "" );
    EXPECT_EQ(
        error( "bomb.3mf", claiming( archive, 0x70000000 ) ), "Cannot read \"bomb.3mf\": there is not enough memory" );
}
