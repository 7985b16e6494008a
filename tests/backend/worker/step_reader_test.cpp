#include "TestPlaces.h"
#include "support/ScratchFolder.h"

#include "worker/StepReader.h"

#include <VXMesh/scene/VisualObjects.h>

#include <gtest/gtest.h>

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
