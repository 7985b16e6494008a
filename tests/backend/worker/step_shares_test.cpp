#include "TestPlaces.h"
#include "support/ScratchFolder.h"

#include "worker/StepReader.h"

#include <VXMesh/scene/VisualObjects.h>

#include <gtest/gtest.h>

#include <sstream>

using namespace VX;
using namespace VX::Backend;

namespace
{

std::string readSample( const char* name )
{
    return Testing::readFile( std::filesystem::path( ORVANTA_SAMPLES ) / name );
}

void expectSame( const Object& a, const Object& b )
{
    EXPECT_EQ( a.name(), b.name() );
    EXPECT_EQ( a.xf(), b.xf() );
    const auto* visualA = dynamic_cast<const ObjectMesh*>( &a );
    const auto* visualB = dynamic_cast<const ObjectMesh*>( &b );
    ASSERT_EQ( visualA == nullptr, visualB == nullptr );
    if ( visualA )
    {
        const auto &meshA = *visualA->mesh(), &meshB = *visualB->mesh();
        EXPECT_TRUE( isConsistent( meshA ) );
        EXPECT_EQ( visualA->color(), visualB->color() );
        EXPECT_EQ( meshA.points.size(), meshB.points.size() );
        EXPECT_EQ( meshA.triangles.size(), meshB.triangles.size() );
        EXPECT_EQ( meshA.edges.size(), meshB.edges.size() );
        EXPECT_EQ( meshA.vertexColors.size(), meshB.vertexColors.size() );
        EXPECT_EQ( meshA.box().min, meshB.box().min );
        EXPECT_EQ( meshA.box().max, meshB.box().max );
        EXPECT_NEAR( computeArea( meshA ), computeArea( meshB ), 1e-6 * computeArea( meshB ) );
        EXPECT_NEAR( computeVolume( meshA ), computeVolume( meshB ), 1e-6 * std::abs( computeVolume( meshB ) ) );
    }
    ASSERT_EQ( a.children().size(), b.children().size() );
    for ( size_t i = 0; i < a.children().size(); ++i )
        expectSame( *a.children()[i], *b.children()[i] );
}

class StepSharesTest : public testing::Test
{
protected:
    /// Converts with and without copies of this process.
    void expectSameInShares( const std::string& content, int processes )
    {
        const auto file = folder_.write( "input.step", content );
        StepOptions options;
        const auto whole = readStep( file, folder_.path(), options );
        ASSERT_TRUE( whole ) << whole.error();
        options.processes = processes;
        options.leastShare = 10;
        const auto shared = readStep( file, folder_.path(), options );
        ASSERT_TRUE( shared ) << shared.error();
        ASSERT_EQ( shared->size(), whole->size() );
        for ( size_t i = 0; i < whole->size(); ++i )
            expectSame( *shared->at( i ), *whole->at( i ) );
    }
    [[nodiscard]] bool wasShared() const { return std::filesystem::is_regular_file( folder_.path() / "share1" ); }

    Testing::ScratchFolder folder_;
};

} // namespace

TEST_F( StepSharesTest, OneSolidIsCutAndJoinedToTheSame )
{
    expectSameInShares( readSample( "bracket.step" ), 2 );
    EXPECT_TRUE( wasShared() );
}

TEST_F( StepSharesTest, AnAssemblyKeepsItsPartsNamesColoursAndPlaces )
{
    expectSameInShares( readSample( "drive.step" ), 2 );
    EXPECT_TRUE( wasShared() );
}

TEST_F( StepSharesTest, MoreProcessesGiveTheSameToo )
{
    expectSameInShares( readSample( "drive.step" ), 5 );
    EXPECT_TRUE( std::filesystem::exists( folder_.path() / "share4" ) );
}

TEST_F( StepSharesTest, SmallFilesStayInOneProcess )
{
    StepOptions options;
    options.processes = 2;
    ASSERT_TRUE( readStep( std::filesystem::path( ORVANTA_SAMPLES ) / "bracket.step", folder_.path(), options ) );
    EXPECT_FALSE( wasShared() );
}

TEST_F( StepSharesTest, AShareThatIsLostIsMadeUpFor )
{
    std::filesystem::create_directory( folder_.path() / "share1" ); // so that its file cannot be written
    expectSameInShares( readSample( "drive.step" ), 2 );
}

TEST_F( StepSharesTest, FacesThatLookToTheWrongSideAreHealedAsInTheWhole )
{
    const auto content = readSample( "bracket.step" );
    int turned = 0, seen = 0;
    for ( const char* kind : { "FACE_BOUND(", "ADVANCED_FACE(" } )
        for ( auto at = content.find( kind ); at != std::string::npos; at = content.find( kind, at + 1 ) )
        {
            if ( ++seen % 8 != 0 )
                continue;
            ++turned;
            SCOPED_TRACE( content.substr( at, content.find( ';', at ) - at ) );
            auto copy = content;
            char& sense = copy[copy.rfind( '.', copy.find( ';', at ) ) - 1];
            sense = sense == 'T' ? 'F' : 'T';
            expectSameInShares( copy, 2 );
        }
    EXPECT_GT( turned, 6 );
}

TEST_F( StepSharesTest, AShellThatIsInsideOutIsHealedAsInTheWhole )
{
    std::string content;
    std::istringstream lines( readSample( "bracket.step" ) );
    for ( std::string line; std::getline( lines, line, ';' ); content += line + ";" )
        if ( line.find( "ADVANCED_FACE(" ) != std::string::npos || line.find( "FACE_BOUND(" ) != std::string::npos )
            line[line.rfind( '.' ) - 1] = line[line.rfind( '.' ) - 1] == 'T' ? 'F' : 'T';
    expectSameInShares( content, 2 );
    EXPECT_TRUE( wasShared() );
}
