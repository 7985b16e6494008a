#include "support/ScratchFolder.h"
#include "support/TestMeshes.h"

#include <files/FoundFile.h>
#include <open/FileOpener.h>
#include <step/ImportLeftovers.h>
#include <step/ImportLock.h>
#include <step/ImportRecord.h>
#include <step/StepFormat.h>
#include <step/StepImport.h>

#include <VXMesh/formats/FileFormats.h>
#include <VXViewer/web/ScriptedTransport.h>
#include <VXViewer/web/WebRequest.h>

#include <gtest/gtest.h>

#include <fstream>
#include <optional>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace VX;
using namespace VX::App;

namespace
{

const std::filesystem::path cWorkingFolder = "/.service_output_files";

mode_t modeOf( const std::filesystem::path& file )
{
    struct stat status{};
    return ::lstat( file.c_str(), &status ) == 0 ? status.st_mode & 07777 : 0;
}

/// Runs in a child process, and `meanwhile` in this one; the child's exit status is the result.
template <typename Function>
bool inAnotherProgram( const Function& function, const std::function<void()>& meanwhile = {} )
{
    // A thread of this process could hold a lock at the fork, which nobody in the child would give back.
    const pid_t child = ::fork();
    if ( child == 0 )
        ::_exit( function() ? 0 : 1 );
    if ( meanwhile )
        meanwhile();
    int status = 1;
    ::waitpid( child, &status, 0 );
    return WIFEXITED( status ) && WEXITSTATUS( status ) == 0;
}

/// Imports by the program, with a service that answers from a script and settings of their own.
class SafeImport : public testing::Test
{
protected:
    void SetUp() override
    {
        static int sCounter = 0;
        stem_ = "orvanta-app-" + std::to_string( ::getpid() ) + "-" + std::to_string( sCounter++ );
        ::setenv( "XDG_CONFIG_HOME", folder_.path().c_str(), 1 );
        std::filesystem::create_directories( folder_.path() / "one" );
        std::filesystem::create_directories( folder_.path() / "other" );
        setWebTransport( std::make_shared<ScriptedTransport>(
            [this]( const WebRequestData& request ) { return answer_( request ); } ) );
        registerStepFormat();
    }
    void TearDown() override
    {
        EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 10 ) ) );
        setWebTransport( nullptr );
        std::error_code ec;
        for ( const auto& path : { converted(), payload(), requestFolder(), secondName() } )
            std::filesystem::remove_all( path, ec );
    }

    std::filesystem::path step( const std::string& folder, const std::string& content, const char* extension = ".step" )
    {
        return folder_.write( folder + "/" + stem_ + extension, content );
    }
    [[nodiscard]] std::filesystem::path converted() const { return cWorkingFolder / ( stem_ + ".vxu" ); }
    [[nodiscard]] std::filesystem::path payload() const { return cWorkingFolder / ( stem_ + ".input.zip" ); }
    [[nodiscard]] std::filesystem::path requestFolder() const { return cWorkingFolder / ( "id-" + stem_ ); }
    [[nodiscard]] std::filesystem::path secondName() const { return cWorkingFolder / ( stem_ + ".second" ); }
    static void write( const std::filesystem::path& file, const std::string& content )
    {
        std::ofstream( file, std::ios::binary ) << content;
    }
    /// Imports and returns the error, empty when there was none.
    static std::string errorOf( const std::filesystem::path& file )
    {
        const auto result = importStep( file, {} );
        return result ? "" : result.error();
    }

    Testing::ScratchFolder folder_;
    std::string stem_;
    std::string result_ = Testing::cubeFile();
    std::string failsAt_;
    std::function<void()> whileConverting_;
    std::atomic<int> conversions_{ 0 };

private:
    std::optional<Json::Value> answer_( const WebRequestData& request )
    {
        const bool storage = request.logName == "S3";
        const auto call = storage ? request.outputPath.empty() ? "upload" : "download"
                                  : request.url.substr( request.url.rfind( '/' ) + 1 );
        if ( call == failsAt_ )
            return failedWebResponse( "gone" );
        if ( call == "request" )
            return ScriptedTransport::response( 200, R"({"result":{"request_id":"id-)" + stem_ + R"(","url":"u"}})" );
        if ( call == "status" )
            return ScriptedTransport::response( 200, R"({"result":{"state":"finished","url":"d"}})" );
        auto response = ScriptedTransport::response( 200, R"({"result":{}})" );
        if ( call == "convert" && whileConverting_ )
            whileConverting_();
        if ( call == "download" )
        {
            ++conversions_;
            response["file"] = result_;
        }
        return response;
    }
};

/// Something in place of the converted file that this user's program did not put there.
class Planted : public SafeImport, public testing::WithParamInterface<const char*>
{
protected:
    void plant()
    {
        const std::string kind = GetParam();
        const auto elsewhere = folder_.write( "elsewhere.vxu", Testing::cubeFile() );
        if ( kind == "file" )
            write( converted(), Testing::cubeFile() );
        else if ( kind == "stranger" )
        {
            if ( ::geteuid() != 0 )
                GTEST_SKIP() << "only root can make files of another user";
            write( converted(), Testing::cubeFile() );
            ASSERT_EQ( ::chown( converted().c_str(), 65534, 65534 ), 0 );
        }
        else if ( kind == "link" )
            std::filesystem::create_symlink( elsewhere, converted() );
        else if ( kind == "hardlink" )
        {
            write( converted(), Testing::cubeFile() );
            std::filesystem::create_hard_link( converted(), secondName() );
        }
        else if ( kind == "fifo" )
            ASSERT_EQ( ::mkfifo( converted().c_str(), 0666 ), 0 );
        else
        {
            std::filesystem::create_directory( converted() );
            write( converted() / "x", "x" );
        }
    }
};

} // namespace

TEST_F( SafeImport, TheSameBytesAreConvertedOnce )
{
    EXPECT_EQ( errorOf( step( "one", "ISO a" ) ), "" );
    EXPECT_EQ( errorOf( step( "one", "ISO a" ) ), "" );
    EXPECT_EQ( errorOf( step( "other", "ISO a", ".stp" ) ), "" );
    EXPECT_EQ( conversions_, 1 );
}

TEST_F( SafeImport, OtherBytesOfThatNameAreConvertedAnew )
{
    EXPECT_EQ( errorOf( step( "one", "ISO a" ) ), "" );
    EXPECT_EQ( errorOf( step( "other", "ISO b" ) ), "" );
    EXPECT_EQ( errorOf( step( "one", "ISO a", ".stp" ) ), "" );
    EXPECT_EQ( conversions_, 3 );
}

TEST_F( SafeImport, AConvertedFileIsForItsOwnerAlone )
{
    EXPECT_EQ( errorOf( step( "one", "ISO a" ) ), "" );
    EXPECT_EQ( modeOf( converted() ), 0600u );
    EXPECT_EQ( modeOf( folder_.path() / "VX/imports.json" ), 0600u );
}

TEST_F( SafeImport, AConvertedFileThatSomebodyChangedIsNotShown )
{
    const auto file = step( "one", "ISO a" );
    EXPECT_EQ( errorOf( file ), "" );
    write( converted(), Testing::cubeFile() );
    EXPECT_EQ( errorOf( file ), "" );
    EXPECT_EQ( conversions_, 2 );
}

TEST_F( SafeImport, ABadResultDoesNotStandInTheWayOfTheNextImport )
{
    const auto file = step( "one", "ISO a" );
    result_ = "no scene";
    EXPECT_NE( errorOf( file ), "" );
    result_ = Testing::cubeFile();
    EXPECT_EQ( errorOf( file ), "" );
}

TEST_F( SafeImport, AKnownResultThatCannotBeReadIsConvertedAnew )
{
    const auto file = step( "one", "ISO a" );
    EXPECT_EQ( errorOf( file ), "" );
    write( converted(), "damaged" );
    auto entry = ImportRecord::find( stem_ + ".vxu" );
    ASSERT_TRUE( entry );
    entry->converted = lookAt( converted() )->identity;
    ImportRecord::add( stem_ + ".vxu", *entry );
    EXPECT_NE( errorOf( file ), "" );
    EXPECT_EQ( errorOf( file ), "" );
    EXPECT_EQ( conversions_, 2 );
}

TEST_F( SafeImport, AFileThatChangesWhileItIsConvertedIsNotTakenForItsConversion )
{
    const auto file = step( "one", "ISO a" );
    whileConverting_ = [&] { write( file, "ISO changed" ); };
    EXPECT_EQ( errorOf( file ), "" );
    whileConverting_ = {};
    EXPECT_EQ( errorOf( file ), "" );
    EXPECT_EQ( conversions_, 2 );
}

TEST_F( SafeImport, WhatIsPlantedBetweenTheTwoLooksIsNotShown )
{
    if ( ::geteuid() != 0 )
        GTEST_SKIP() << "only root can make files of another user";
    const auto file = step( "one", "ISO a" );
    setWebTransport( std::make_shared<ScriptedTransport>(
        [this]( const WebRequestData& request ) -> std::optional<Json::Value>
        {
            if ( request.url.ends_with( "/request" ) )
                return ScriptedTransport::response(
                    200, R"({"result":{"request_id":"id-)" + stem_ + R"(","url":"u"}})" );
            if ( request.url.ends_with( "/status" ) )
                return ScriptedTransport::response( 200, R"({"result":{"state":"finished","url":"d"}})" );
            if ( !request.outputPath.empty() )
            {
                write( converted(), Testing::cubeFile() );
                EXPECT_EQ( ::chown( converted().c_str(), 65534, 65534 ), 0 );
            }
            return ScriptedTransport::response( 200, R"({"result":{}})" );
        } ) );
    EXPECT_EQ( errorOf( file ), "Cannot open \"" + stem_ + ".step\": \"" + converted().string() +
                                    "\", where its conversion has to be, belongs to the user \"nobody\". Try again, or "
                                    "give your file another name" );
    EXPECT_FALSE( ImportRecord::find( stem_ + ".vxu" ) );
}

TEST_P( Planted, IsRemovedAndNeverShown )
{
    plant();
    if ( IsSkipped() )
        return;
    EXPECT_EQ( errorOf( step( "one", "ISO a" ) ), "" );
    EXPECT_EQ( conversions_, 1 );
    EXPECT_TRUE( lookAt( converted() )->isOurs );
}

INSTANTIATE_TEST_SUITE_P( Each, Planted, testing::Values( "file", "stranger", "link", "hardlink", "fifo", "folder" ),
    []( const auto& info ) { return std::string( info.param ); } );

TEST_F( SafeImport, WhatCannotBeRemovedIsNamedWithItsOwner )
{
    if ( ::geteuid() != 0 )
        GTEST_SKIP() << "only root can make files of another user";
    write( converted(), Testing::cubeFile() );
    ASSERT_EQ( ::chown( converted().c_str(), 65534, 65534 ), 0 );
    const auto file = step( "one", "ISO a" );
    EXPECT_TRUE( inAnotherProgram(
        [&]
        {
            if ( ::seteuid( 65533 ) != 0 )
                return false;
            return clearWay( converted(), file ) ==
                   "Cannot convert \"" + stem_ + ".step\": \"" + converted().string() +
                       "\" is in the way and belongs to the user \"nobody\". Ask them or an administrator to remove "
                       "it, or give your file another name";
        } ) );
    EXPECT_TRUE( lookAt( converted() ) );
}

TEST_F( SafeImport, NothingButTheConvertedFileIsLeft )
{
    EXPECT_EQ( errorOf( step( "one", "ISO a" ) ), "" );
    EXPECT_FALSE( lookAt( requestFolder() ) );
    EXPECT_TRUE( lookAt( converted() ) );
}

TEST_F( SafeImport, AFailedUploadLeavesNoArchive )
{
    failsAt_ = "upload";
    EXPECT_EQ( errorOf( step( "one", "ISO a" ) ), "Connection error" );
    EXPECT_FALSE( lookAt( payload() ) );
    EXPECT_FALSE( lookAt( requestFolder() ) );
}

TEST_F( SafeImport, WhatAKilledProgramLeftIsRemovedLater )
{
    const auto file = step( "one", "ISO a" );
    ImportLeftovers::noteImport( file );
    ImportLeftovers::noteFolder( file, requestFolder() );
    std::filesystem::create_directory( requestFolder() );
    write( requestFolder() / "input", "ISO a" );
    write( payload(), "zip" );
    write( converted().string() + ".1-0.part", "part" );
    ImportLeftovers::tidy();
    EXPECT_FALSE( lookAt( requestFolder() ) );
    EXPECT_FALSE( lookAt( payload() ) );
    EXPECT_FALSE( lookAt( converted().string() + ".1-0.part" ) );
}

TEST_F( SafeImport, NothingIsTidiedThatWasNotNotedOrIsNotOurs )
{
    const auto file = step( "one", "ISO a" );
    ImportLeftovers::noteFolder( file, requestFolder() );
    std::filesystem::create_directory( requestFolder() );
    write( requestFolder() / "precious", "x" );
    const auto other = cWorkingFolder / ( "id-" + stem_ + "-other" );
    std::filesystem::create_directory( other );
    std::filesystem::create_symlink( other, payload() );
    const auto another = cWorkingFolder / ( stem_ + ".vxu.more.vxu" );
    write( another, "x" );
    ImportLeftovers::tidy();
    EXPECT_TRUE( lookAt( requestFolder() / "precious" ) );
    EXPECT_TRUE( lookAt( other ) );
    EXPECT_TRUE( lookAt( payload() ) );
    EXPECT_TRUE( lookAt( another ) );
    std::filesystem::remove( other );
    std::filesystem::remove( another );
}

TEST_F( SafeImport, NothingIsTidiedWhileAnImportRunsInAnyProgram )
{
    const auto file = step( "one", "ISO a" );
    ImportLeftovers::noteImport( file );
    write( payload(), "zip" );
    {
        const auto running = ImportLock::tryTake( "another.vxu" );
        ASSERT_TRUE( running );
        EXPECT_TRUE( inAnotherProgram(
            []
            {
                ImportLeftovers::tidy();
                return true;
            } ) );
        EXPECT_TRUE( lookAt( payload() ) );
    }
    ImportLeftovers::tidy();
    EXPECT_FALSE( lookAt( payload() ) );
}

TEST_F( SafeImport, WaitsForAnotherProgramAndCanBeCanceledMeanwhile )
{
    auto other = ImportLock::tryTake( stem_ + ".vxu" );
    ASSERT_TRUE( other );
    int asked = 0;
    const auto canceled = importStep( step( "one", "ISO a" ), [&]( float ) { return ++asked < 2; } );
    EXPECT_EQ( canceled.error(), cOperationCanceled );
    EXPECT_EQ( conversions_, 0 );
    const auto result = importStep( step( "one", "ISO a" ),
        [&]( float )
        {
            other.reset();
            return true;
        } );
    EXPECT_TRUE( result ) << result.error();
}

TEST_F( SafeImport, TheFormatOfStepFilesIsGuardedToo )
{
    write( converted(), Testing::cubeFile() );
    EXPECT_TRUE( loadObjectFromFile( step( "one", "ISO a" ) ) );
    EXPECT_EQ( conversions_, 1 );
}

TEST_F( SafeImport, AForgottenConversionIsMadeAnew )
{
    const auto file = step( "one", "ISO a" );
    EXPECT_EQ( errorOf( file ), "" );
    forgetConversion( file );
    EXPECT_EQ( errorOf( file ), "" );
    EXPECT_EQ( conversions_, 2 );
}

TEST_F( SafeImport, LocksExcludeOneNameAndNoOther )
{
    auto one = ImportLock::tryTake( "a.vxu" );
    ASSERT_TRUE( one );
    EXPECT_FALSE( ImportLock::tryTake( "a.vxu" ) ) << "in this program";
    EXPECT_TRUE( inAnotherProgram( [] { return !ImportLock::tryTake( "a.vxu" ); } ) );
    EXPECT_TRUE( inAnotherProgram( [] { return ImportLock::tryTake( "b.vxu" ).has_value(); } ) );
    EXPECT_FALSE( ImportLock::tryTakeAll() );
    one.reset();
    EXPECT_TRUE( ImportLock::tryTake( "a.vxu" ) );
    EXPECT_TRUE( ImportLock::tryTakeAll() );
}

TEST_F( SafeImport, TheRecordIsBoundedAndKeepsTheLatest )
{
    Json::Value many( Json::objectValue );
    for ( unsigned i = 1; i <= ImportRecord::cMaxEntries; ++i )
    {
        many[std::to_string( i )]["number"] = i;
        many[std::to_string( i )]["sha256"] = "";
    }
    std::filesystem::create_directories( folder_.path() / "VX" );
    folder_.write( "VX/imports.json", many.toStyledString() );
    const ImportRecord::Entry entry{ 1, 2, "digest", { 3, 4, 5 } };
    ImportRecord::add( "new", entry );
    EXPECT_EQ( ImportRecord::find( "new" ), entry );
    EXPECT_FALSE( ImportRecord::find( "1" ) );
    EXPECT_TRUE( ImportRecord::find( "2" ) );
}

TEST_F( SafeImport, ARecordThatIsNoneCountsAsEmpty )
{
    std::filesystem::create_directories( folder_.path() / "VX" );
    for ( const char* text :
        { "", "[]", "{\"x\":5}", "{\"x\":{\"sha256\":5}}", "{\"x\":{\"sha256\":\"\",\"converted\":[]}}" } )
    {
        folder_.write( "VX/imports.json", text );
        const auto entry = ImportRecord::find( "x" );
        EXPECT_TRUE( !entry || entry->digest.empty() ) << text;
        ImportRecord::add( "y", {} );
        EXPECT_TRUE( ImportRecord::find( "y" ) ) << text;
    }
}

TEST_F( SafeImport, TwoProgramsLoseNothingOfTheRecord )
{
    const auto addMany = []( const std::string& prefix )
    {
        for ( int i = 0; i < 30; ++i )
            ImportRecord::add( prefix + std::to_string( i ), {} );
        return true;
    };
    EXPECT_TRUE( inAnotherProgram( [&] { return addMany( "there" ); }, [&] { addMany( "here" ); } ) );
    for ( int i = 0; i < 30; ++i )
    {
        EXPECT_TRUE( ImportRecord::find( "here" + std::to_string( i ) ) );
        EXPECT_TRUE( ImportRecord::find( "there" + std::to_string( i ) ) );
    }
}
