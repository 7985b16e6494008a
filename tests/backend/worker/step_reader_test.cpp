#include "TestPlaces.h"
#include "support/ScratchFolder.h"

#include "worker/StepReader.h"

#include <VXMesh/scene/VisualObjects.h>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>

using namespace VX;
using namespace VX::Backend;

namespace
{

class StepReaderTest : public testing::Test
{
protected:
    auto read( const std::filesystem::path& file ) { return readStep( file, folder_.path() ); }
    std::string errorOf( const std::string& content )
    {
        const auto objects = read( folder_.write( "input", content ) );
        return objects ? "" : objects.error();
    }
    /// An assembly of so many levels, each of which places the one below twice; the lowest is a cube.
    static std::string doublingAssembly( int levels );
    /// A shape of so many levels, each of which maps the one below twice.
    static std::string mappedTwice( int levels );
    static std::string sample( const char* name )
    {
        return Testing::readFile( std::filesystem::path( ORVANTA_SAMPLES ) / name );
    }

    Testing::ScratchFolder folder_;
};

} // namespace

TEST_F( StepReaderTest, ReadsTheBracketAsAClosedSolid )
{
    const auto objects = read( std::filesystem::path( ORVANTA_SAMPLES ) / "bracket.step" );
    ASSERT_TRUE( objects ) << objects.error();
    const auto* part = dynamic_cast<const ObjectMesh*>( objects->at( 0 ).get() );
    ASSERT_NE( part, nullptr );
    EXPECT_EQ( part->name(), "Bracket" );
    EXPECT_EQ( part->color(), ( Color{ 158, 172, 188, 255 } ) );
    const auto& mesh = *part->mesh();
    EXPECT_TRUE( isConsistent( mesh ) );
    const auto size = mesh.box().size();
    EXPECT_NEAR( size.x, 100, 0.1 );
    EXPECT_NEAR( size.y, 70, 0.1 );
    EXPECT_NEAR( size.z, 80, 0.1 );
    // Two plates of 70000 and 70000 mm³, a rib and a boss more, holes and roundings less.
    EXPECT_NEAR( computeVolume( mesh ), 147900, 1500 );
    EXPECT_GT( mesh.edges.size(), 100u );
    for ( const auto& normal : mesh.normals )
        EXPECT_NEAR( normal.length(), 1, 1e-3 );
}

TEST_F( StepReaderTest, NormalsPointTheWayTheTrianglesDo )
{
    const auto objects = read( std::filesystem::path( ORVANTA_SAMPLES ) / "bracket.step" );
    const auto& mesh = *dynamic_cast<const ObjectMesh&>( *objects->at( 0 ) ).mesh();
    for ( const auto& t : mesh.triangles )
    {
        const auto facet = cross( mesh.points[t[1]] - mesh.points[t[0]], mesh.points[t[2]] - mesh.points[t[0]] );
        EXPECT_GT( dot( facet, mesh.normals[t[0]] + mesh.normals[t[1]] + mesh.normals[t[2]] ), 0 );
    }
}

TEST_F( StepReaderTest, ReadsAnAssemblyWithNamesColoursPlacesAndInstances )
{
    const auto objects = read( std::filesystem::path( ORVANTA_SAMPLES ) / "drive.step" );
    ASSERT_TRUE( objects ) << objects.error();
    const auto& drive = *objects->at( 0 );
    EXPECT_EQ( drive.name(), "Drive" );
    ASSERT_EQ( drive.children().size(), 5u );
    EXPECT_EQ( drive.children()[1]->name(), "Bearing with bolts" );
    EXPECT_EQ( drive.children()[2]->xf().b, ( Vector3f{ 0, 40, 0 } ) );
    const auto mesh = []( const Object& object ) { return dynamic_cast<const ObjectMesh&>( object ).mesh(); };
    const auto& first = drive.children()[1]->children();
    const auto& second = drive.children()[2]->children();
    EXPECT_EQ( mesh( *first[1] ), mesh( *second[2] ) );
    EXPECT_EQ( dynamic_cast<const VisualObject&>( *first[0] ).color(), ( Color{ 222, 128, 48, 255 } ) );
}

std::string StepReaderTest::doublingAssembly( int levels )
{
    const auto cube =
        Testing::readFile( std::filesystem::path( ORVANTA_TEST_DATA ) / "../backend/converter/cube.step" );
    // Names of the file's own entities, by what they are.
    const auto numberOf = [&]( const std::string& what )
    {
        const auto at = cube.find( "=" + what );
        return std::stoi( cube.substr( cube.rfind( '#', at ) + 1 ) );
    };
    auto text = cube.substr( 0, cube.rfind( "ENDSEC;" ) );
    int next = 10'000;
    const auto add = [&]( const std::string& entity )
    {
        text += fmt::format( "#{}={};\n", ++next, entity );
        return next;
    };
    const int context = numberOf( "PRODUCT_CONTEXT" ), definitions = numberOf( "PRODUCT_DEFINITION_CONTEXT" );
    const int units = numberOf( "(GEOMETRIC_REPRESENTATION_CONTEXT" );
    int product = numberOf( "PRODUCT_DEFINITION(" ), shape = numberOf( "ADVANCED_BREP_SHAPE_REPRESENTATION" );
    const int place = add( fmt::format( "AXIS2_PLACEMENT_3D('',#{},$,$)", add( "CARTESIAN_POINT('',(0.,0.,0.))" ) ) );
    for ( int level = 0; level < levels; ++level )
    {
        const int formation = add( fmt::format( "PRODUCT_DEFINITION_FORMATION('','',#{})",
            add( fmt::format( "PRODUCT('Level {}','Level {}','',(#{}))", level, level, context ) ) ) );
        const int above = add( fmt::format( "PRODUCT_DEFINITION('design','',#{},#{})", formation, definitions ) );
        const auto distance = add( fmt::format( "CARTESIAN_POINT('',({}.,0.,0.))", 20 << std::min( level, 20 ) ) );
        const int second = add( fmt::format( "AXIS2_PLACEMENT_3D('',#{},$,$)", distance ) );
        const int whole = add( fmt::format( "SHAPE_REPRESENTATION('',(#{},#{}),#{})", place, second, units ) );
        add( fmt::format( "SHAPE_DEFINITION_REPRESENTATION(#{},#{})",
            add( fmt::format( "PRODUCT_DEFINITION_SHAPE('','',#{})", above ) ), whole ) );
        for ( const int there : { place, second } )
        {
            const int use =
                add( fmt::format( "NEXT_ASSEMBLY_USAGE_OCCURRENCE('{}','','',#{},#{},$)", there, above, product ) );
            const int move = add( fmt::format( "ITEM_DEFINED_TRANSFORMATION('','',#{},#{})", place, there ) );
            const int relation = add( fmt::format( "(REPRESENTATION_RELATIONSHIP('','',#{},#{})"
                                                   "REPRESENTATION_RELATIONSHIP_WITH_TRANSFORMATION(#{})"
                                                   "SHAPE_REPRESENTATION_RELATIONSHIP())",
                shape, whole, move ) );
            add( fmt::format( "CONTEXT_DEPENDENT_SHAPE_REPRESENTATION(#{},#{})", relation,
                add( fmt::format( "PRODUCT_DEFINITION_SHAPE('','',#{})", use ) ) ) );
        }
        product = above;
        shape = whole;
    }
    return text + "ENDSEC;\nEND-ISO-10303-21;\n";
}

std::string StepReaderTest::mappedTwice( int levels )
{
    const auto cube =
        Testing::readFile( std::filesystem::path( ORVANTA_TEST_DATA ) / "../backend/converter/cube.step" );
    const auto shapeAt = cube.find( "=ADVANCED_BREP_SHAPE_REPRESENTATION" );
    const int shape = std::stoi( cube.substr( cube.rfind( '#', shapeAt ) + 1 ) );
    const auto unitsAt = cube.find( "=(GEOMETRIC_REPRESENTATION_CONTEXT" );
    const int units = std::stoi( cube.substr( cube.rfind( '#', unitsAt ) + 1 ) );
    std::string text = cube.substr( 0, cube.rfind( "ENDSEC;" ) );
    text += "#9000=CARTESIAN_POINT('',(0.,0.,0.));\n#9001=AXIS2_PLACEMENT_3D('',#9000,$,$);\n";
    int below = shape, next = 10'000;
    for ( int level = 0; level < levels; ++level, next += 10 )
    {
        text += fmt::format( "#{}=REPRESENTATION_MAP(#9001,#{});\n", next, below );
        text += fmt::format(
            "#{}=MAPPED_ITEM('',#{},#9001);\n#{}=MAPPED_ITEM('',#{},#9001);\n", next + 1, next, next + 2, next );
        below = next + 3;
        text += fmt::format( "#{}=SHAPE_REPRESENTATION('',(#{},#{}),#{});\n", below, next + 1, next + 2, units );
    }
    return text + "ENDSEC;\nEND-ISO-10303-21;\n";
}

TEST_F( StepReaderTest, AShortFileMakesNoMoreThanAMillionObjects )
{
    const auto few = read( folder_.write( "few", doublingAssembly( 4 ) ) );
    ASSERT_TRUE( few ) << few.error();
    size_t cubes = 0;
    const std::function<void( const Object& )> count = [&]( const Object& object )
    {
        cubes += dynamic_cast<const ObjectMesh*>( &object ) != nullptr;
        for ( const auto& child : object.children() )
            count( *child );
    };
    for ( const auto& root : *few )
        count( *root );
    EXPECT_EQ( cubes, 16u ) << "the assembly is as it was meant";
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ( errorOf( doublingAssembly( 30 ) ), "The STEP file places its parts more than a million times" );
    EXPECT_EQ( errorOf( mappedTwice( 30 ) ), "The STEP file places its parts more than a million times" );
    EXPECT_LT( std::chrono::steady_clock::now() - begin, std::chrono::seconds( 30 ) ) << "a walk would take hours";
}

TEST_F( StepReaderTest, SaysWhatIsWrongWithAFile )
{
    EXPECT_EQ( errorOf( "" ), "The file is empty" );
    EXPECT_EQ( errorOf( "solid not a step file" ), "This is not a STEP file" );
    const auto bracket = sample( "bracket.step" );
    EXPECT_EQ( errorOf( bracket.substr( 0, bracket.size() / 2 ) ), "The STEP file is cut off: its end is missing" );
    EXPECT_EQ( errorOf( "ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION((''),'2;1');\nFILE_NAME('','',(''),(''),'','','');\n"
                        "FILE_SCHEMA(('AUTOMOTIVE_DESIGN'));\nENDSEC;\nDATA;\n#1=CARTESIAN_POINT('',(0.,0.,0.));"
                        "\nENDSEC;\nEND-ISO-10303-21;\n" ),
        "The STEP file holds no solids or surfaces" );
    EXPECT_NE( errorOf( "ISO-10303-21;\ngarbage((((\nEND-ISO-10303-21;\n" ), "" );
}
