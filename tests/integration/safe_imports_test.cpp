#include "TestPlaces.h"
#include "support/ScratchFolder.h"
#include "support/service/BackendProcess.h"

#include <open/FileOpener.h>
#include <step/StepFormat.h>
#include <step/StepImport.h>

#include <VXViewer/web/WebRequest.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <set>

#include <unistd.h>

using namespace VX;

namespace
{

const std::filesystem::path cWorkingFolder = "/.service_output_files";

/// Imports of the program through the real back end.
class SafeImports : public testing::Test
{
protected:
    void SetUp() override
    {
        ::setenv( "XDG_CONFIG_HOME", folder_.path().c_str(), 1 );
        App::registerStepFormat();
        stem_ = "orvanta-safe-" + std::to_string( ::getpid() );
        before_ = listing();
    }
    void TearDown() override
    {
        EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 5 ) ) );
        setWebTransport( nullptr );
        std::error_code ec;
        std::filesystem::remove( cWorkingFolder / ( stem_ + ".vxu" ), ec );
    }

    std::filesystem::path sampleAs( const char* sample, const std::string& folder )
    {
        std::filesystem::create_directories( folder_.path() / folder );
        return folder_.write(
            folder + "/" + stem_ + ".step", Testing::readFile( std::filesystem::path( ORVANTA_SAMPLES ) / sample ) );
    }
    static std::string nameOfPart( const std::filesystem::path& file )
    {
        const auto result = App::importStep( file, {} );
        return result ? result->objects.at( 0 )->name() : result.error();
    }
    static std::set<std::filesystem::path> listing()
    {
        std::set<std::filesystem::path> out;
        for ( const auto& entry : std::filesystem::directory_iterator( cWorkingFolder ) )
            out.insert( entry.path().filename() );
        return out;
    }
    /// What has come into the working folder.
    [[nodiscard]] std::set<std::filesystem::path> newFiles() const
    {
        auto out = listing();
        for ( const auto& name : before_ )
            out.erase( name );
        return out;
    }

    Testing::ScratchFolder folder_;
    std::string stem_;
    std::set<std::filesystem::path> before_;
};

} // namespace

TEST_F( SafeImports, TheSameNameInAnotherFolderIsAnotherPart )
{
    const Testing::BackendProcess backend;
    EXPECT_EQ( nameOfPart( sampleAs( "bracket.step", "one" ) ), "Bracket" );
    EXPECT_EQ( nameOfPart( sampleAs( "drive.step", "other" ) ), "Drive" );
    EXPECT_EQ( newFiles(), ( std::set<std::filesystem::path>{ stem_ + ".vxu" } ) );
}

TEST_F( SafeImports, AKnownPartNeedsNoService )
{
    {
        const Testing::BackendProcess backend;
        EXPECT_EQ( nameOfPart( sampleAs( "bracket.step", "one" ) ), "Bracket" );
    }
    EXPECT_EQ( nameOfPart( sampleAs( "bracket.step", "other" ) ), "Bracket" );
}

TEST_F( SafeImports, ACanceledImportLeavesNothing )
{
    const Testing::BackendProcess backend;
    for ( const float end : { 0.f, 0.25f, 0.5f, 0.75f } )
    {
        // The digest of the input reports 0, too, before anything is asked.
        int reports = 0;
        const auto result = App::importStep(
            sampleAs( "drive.step", "one" ), [&]( float fraction ) { return ++reports == 1 || fraction < end; } );
        ASSERT_FALSE( result );
        EXPECT_EQ( newFiles(), std::set<std::filesystem::path>{} ) << end;
    }
}
