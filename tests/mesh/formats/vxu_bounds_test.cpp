#include "support/TestMeshes.h"

#include <VXMesh/formats/VxuFormat.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>

using namespace VX;
using namespace std::chrono_literals;

namespace
{

constexpr const char* cTooLarge = "The file describes too much: it is damaged, or the scene is too large";

std::string repeated( const std::string& text, size_t times )
{
    std::string out;
    out.reserve( text.size() * times );
    for ( size_t i = 0; i < times; ++i )
        out += text;
    return out;
}

/// An array of these many elements, all alike.
std::string arrayOf( size_t count, const std::string& element )
{
    return "[" + repeated( element + ",", count - 1 ) + element + "]";
}

std::string numbersTo( size_t count )
{
    std::string out = "[0";
    for ( size_t i = 1; i < count; ++i )
        out += "," + std::to_string( i );
    return out + "]";
}

std::string bytesOf( const std::vector<float>& numbers )
{
    return { reinterpret_cast<const char*>( numbers.data() ), numbers.size() * sizeof( float ) };
}

/// Four corners of a square, as accessor 0.
struct Square
{
    std::string nodes = R"([{"mesh":0}])";
    std::string roots = "[0]";
    std::string primitives = R"([{"attributes":{"POSITION":0}}])";
    std::string accessors =
        R"({"bufferView":0,"componentType":5126,"count":4,"type":"VEC3"},{"bufferView":0,"componentType":5126,"count":3,"type":"VEC3"})";

    [[nodiscard]] tl::expected<LoadedObjects, std::string> read( const ProgressCallback& progress = {} ) const
    {
        const auto binary = bytesOf( { 0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0 } );
        const auto file =
            Testing::glbFile( R"({"asset":{"version":"2.0"},"scenes":[{"nodes":)" + roots + R"(}],"nodes":)" + nodes +
                                  R"(,"meshes":[{"primitives":)" + primitives + R"(}],"accessors":[)" + accessors +
                                  R"(],"bufferViews":[{"buffer":0,"byteLength":48}],"buffers":[{"byteLength":48}]})",
                binary );
        return readVxu( std::as_bytes( std::span( file ) ), progress );
    }

    [[nodiscard]] std::string error( const ProgressCallback& progress = {} ) const
    {
        const auto loaded = read( progress );
        return loaded ? "" : loaded.error();
    }
};

std::string errorOf( const std::string& file )
{
    const auto loaded = readVxu( std::as_bytes( std::span( file ) ) );
    return loaded ? "" : loaded.error();
}

/// Asks to stop at the given call.
auto stopsAt( int call )
{
    return [call, calls = 0]( float ) mutable { return ++calls < call; };
}

} // namespace

TEST( VxuBounds, ManyInstancesOfAMeshOfManyPartsAreRefused )
{
    Square square;
    square.primitives = arrayOf( 3000, R"({"attributes":{"POSITION":1}})" );
    square.nodes = arrayOf( 3000, R"({"mesh":0})" );
    square.roots = numbersTo( 3000 );
    EXPECT_EQ( square.error(), "It asks for more than 1000000 objects" );
    square.nodes = arrayOf( 30, R"({"mesh":0})" );
    square.roots = numbersTo( 30 );
    EXPECT_EQ( square.error(), "" );
}

TEST( VxuBounds, TooManyNodesAreRefused )
{
    Square square;
    square.nodes = arrayOf( 1'000'001, "{}" );
    EXPECT_EQ( square.error(), "It asks for more than 1000000 objects" );
}

TEST( VxuBounds, ManySurfacesOverTheSamePointsAreReadInTime )
{
    const auto end = std::chrono::steady_clock::now() + 20s;
    Square square;
    square.primitives = arrayOf( 30'000, R"({"attributes":{"POSITION":1}})" );
    EXPECT_EQ( square.error( [&]( float ) { return std::chrono::steady_clock::now() < end; } ), "" );
}

TEST( VxuBounds, ManyObjectsInTheFrameAreReadInTime )
{
    const auto start = std::chrono::steady_clock::now();
    constexpr size_t cCount = 60'000;
    Square square;
    square.nodes = R"([{"extras":{"frame":true},"children":)" + numbersTo( cCount ).replace( 1, 2, "" ) + "}," +
                   arrayOf( cCount, R"({"name":"x"})" ).substr( 1 );
    const auto loaded = square.read();
    ASSERT_TRUE( loaded ) << loaded.error();
    EXPECT_EQ( loaded->objects.size(), cCount - 1 );
    EXPECT_LT( std::chrono::steady_clock::now() - start, 20s );
}

TEST( VxuBounds, ADescriptionOfTooManyValuesIsRefused )
{
    EXPECT_EQ( errorOf( Testing::glbFile( R"({"asset":)" + arrayOf( 5'000'000, "[]" ) + "}", {} ) ), cTooLarge );
}

TEST( VxuBounds, ADescriptionThatIsTooLongIsRefused )
{
    EXPECT_EQ( errorOf( Testing::glbFile( "{}" + std::string( size_t( 64 ) << 20, ' ' ), {} ) ), cTooLarge );
}

TEST( VxuBounds, NothingOfAParserIsSaid )
{
    EXPECT_EQ( errorOf( Testing::glbFile( R"({"nodes":[1,})", {} ) ),
        "The file is damaged: its description is not valid JSON" );
    EXPECT_EQ( errorOf( Testing::glbFile( repeated( "[", 1000 ), {} ) ),
        "The file is damaged: its description is not valid JSON" );
}

TEST( VxuBounds, ASceneThatCouldNotBeReadAgainIsNotWritten )
{
    const auto object = std::make_shared<Object>();
    object->setName( std::string( size_t( 64 ) << 20, 'x' ) );
    const auto written = writeVxu( std::vector<std::shared_ptr<Object>>{ object } );
    ASSERT_FALSE( written );
    EXPECT_EQ( written.error(), "The scene has too many objects for one file" );
}

TEST( VxuBounds, StopsBetweenThePartsOfAMesh )
{
    Square square;
    square.primitives = arrayOf( 500, R"({"attributes":{"POSITION":1}})" );
    EXPECT_EQ( square.error( stopsAt( 400 ) ), cOperationCanceled );
}

TEST( VxuBounds, StopsBetweenObjects )
{
    Square square;
    square.nodes = arrayOf( 5000, "{}" );
    square.roots = numbersTo( 5000 );
    EXPECT_EQ( square.error( stopsAt( 10 ) ), cOperationCanceled );
}

TEST( VxuBounds, StopsWithinABuffer )
{
    constexpr size_t cCount = 3'000'000;
    const std::string json =
        R"({"asset":{"version":"2.0"},"scenes":[{"nodes":[0]}],"nodes":[{"mesh":0}],"meshes":[{"primitives":[{"mode":0,)"
        R"("attributes":{"POSITION":0}}]}],"accessors":[{"bufferView":0,"componentType":5121,"count":3000000,"type":)"
        R"("VEC3"}],"bufferViews":[{"buffer":0,"byteLength":9000000}],"buffers":[{"byteLength":9000000}]})";
    const auto file = Testing::glbFile( json, std::string( cCount * 3, '\1' ) );
    for ( const int call : { 5, 10 } )
    {
        const auto loaded = readVxu( std::as_bytes( std::span( file ) ), stopsAt( call ) );
        ASSERT_FALSE( loaded );
        EXPECT_EQ( loaded.error(), cOperationCanceled );
    }
    EXPECT_EQ( errorOf( file ), "" );
}

TEST( VxuBounds, ReadsStripsFansAndLoops )
{
    Square square;
    const auto one = [&]( int mode )
    {
        square.primitives = R"([{"attributes":{"POSITION":0},"mode":)" + std::to_string( mode ) + "}]";
        auto loaded = square.read();
        EXPECT_TRUE( loaded ) << loaded.error();
        return loaded->objects.at( 0 );
    };
    const auto segments = [&]( int mode )
    { return dynamic_cast<const ObjectLines&>( *one( mode ) ).lines()->segments; };
    const auto triangles = [&]( int mode )
    { return dynamic_cast<const ObjectMesh&>( *one( mode ) ).mesh()->triangles; };
    EXPECT_EQ( segments( 1 ), ( std::vector<Segment>{ { 0, 1 }, { 2, 3 } } ) );
    EXPECT_EQ( segments( 2 ), ( std::vector<Segment>{ { 0, 1 }, { 1, 2 }, { 2, 3 }, { 3, 0 } } ) );
    EXPECT_EQ( segments( 3 ), ( std::vector<Segment>{ { 0, 1 }, { 1, 2 }, { 2, 3 } } ) );
    EXPECT_EQ( triangles( 4 ), ( std::vector<Triangle>{ { 0, 1, 2 } } ) );
    EXPECT_EQ( triangles( 5 ), ( std::vector<Triangle>{ { 0, 1, 2 }, { 2, 1, 3 } } ) );
    EXPECT_EQ( triangles( 6 ), ( std::vector<Triangle>{ { 0, 1, 2 }, { 0, 2, 3 } } ) );
}
