#include "support/UiFixture.h"

#include "support/TestMeshes.h"

#include <VXOrvanta/account/UserInfo.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/work/ProgressBar.h>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace VX;

namespace
{

const std::filesystem::path cWorkingFolder = "/.service_output_files";

class Opening : public Testing::UiFixture
{
protected:
    void SetUp() override
    {
        UiFixture::SetUp();
        opener_->onOpened = [this]( const std::filesystem::path& file ) { opened_.push_back( file.filename() ); };
    }
    void TearDown() override
    {
        UiFixture::TearDown();
        for ( const auto& name : names_ )
        {
            std::error_code ec;
            std::filesystem::remove( cWorkingFolder / ( name + ".vxu" ), ec );
            std::filesystem::remove( cWorkingFolder / ( name + ".input.zip" ), ec );
            std::filesystem::remove_all( cWorkingFolder / ( "id-" + name ), ec );
        }
    }

    std::filesystem::path step( const std::string& stem, const std::string& folder = {} )
    {
        const auto name = "orvanta-ui-" + std::to_string( ::getpid() ) + "-" + stem;
        names_.push_back( name );
        if ( !folder.empty() )
            std::filesystem::create_directories( folder_.path() / folder );
        return folder_.write( ( std::filesystem::path( folder ) / ( name + ".step" ) ).string(), "ISO-10303-21;" );
    }

    /// Lets every conversion succeed; the names tell which request belongs to which file.
    void answerEverything()
    {
        transport_ = std::make_shared<ScriptedTransport>(
            [this]( const WebRequestData& request ) -> std::optional<Json::Value>
            {
                const auto call = request.url.substr( request.url.rfind( '/' ) + 1 );
                if ( request.logName == "S3" )
                {
                    auto response = ScriptedTransport::response( 200, "" );
                    if ( !request.outputPath.empty() )
                        response["file"] = Testing::cubeFile();
                    return response;
                }
                if ( call == "request" )
                    return ScriptedTransport::response(
                        200, R"({"result":{"request_id":"id-)" + names_.at( next_++ ) + R"(","url":"u"}})" );
                if ( call == "status" )
                    return ScriptedTransport::response( 200, R"({"result":{"state":"finished","url":"d"}})" );
                return ScriptedTransport::response( 200, R"({"result":{}})" );
            } );
        setWebTransport( transport_ );
    }

    std::vector<std::string> names_;
    std::atomic<size_t> next_{ 0 };
    std::vector<std::filesystem::path> opened_;
};

/// An import that stops where the service no longer answers, in the stage that is named.
class OpeningStage : public Opening, public testing::WithParamInterface<const char*>
{
protected:
    void startAndWait( const std::string& stem )
    {
        transport_ = std::make_shared<ScriptedTransport>(
            [this]( const WebRequestData& request ) -> std::optional<Json::Value>
            {
                if ( stageOf( request ) == GetParam() )
                    return std::nullopt;
                const auto name = names_.back();
                if ( stageOf( request ) == "request" )
                    return ScriptedTransport::response(
                        200, R"({"result":{"request_id":"id-)" + name + R"(","url":"u"}})" );
                if ( stageOf( request ) == "status" )
                    return ScriptedTransport::response( 200, R"({"result":{"state":"finished","url":"d"}})" );
                return ScriptedTransport::response( 200, R"({"result":{}})" );
            } );
        setWebTransport( transport_ );
        opener_->open( { step( stem ) } );
        drawUntil(
            [this] { return !transport_->sent().empty() && stageOf( transport_->sent().back() ) == GetParam(); } );
    }

private:
    static std::string stageOf( const WebRequestData& request )
    {
        if ( request.logName == "S3" )
            return request.outputPath.empty() ? "upload" : "download";
        return request.url.substr( request.url.rfind( '/' ) + 1 );
    }
};

} // namespace

TEST_F( Opening, ADroppedSceneFileStandsInTheScene )
{
    window().drop( { folder_.write( "cube.vxu", Testing::cubeFile() ) } );
    turnUntil( [this] { return opened_.size() == 1; } );
    EXPECT_EQ( viewer().sceneRoot().children().size(), 1u );
}

TEST_F( Opening, OneStepFileIsConvertedUnderTheProgressBar )
{
    answerEverything();
    window().drop( { step( "one" ) } );
    turnUntil( [] { return ProgressBar::isOrdered(); } );
    turnUntil( [this] { return opened_.size() == 1; } );
    EXPECT_FALSE( isWindowShown( "##notification" ) );
}

TEST_F( Opening, SeveralStepFilesAreConvertedInTheBackgroundWithANotificationEach )
{
    answerEverything();
    window().drop( { step( "a" ), step( "b" ), step( "c" ) } );
    turnUntil( [this] { return opened_.size() == 3; } );
    settle();
    EXPECT_FALSE( ProgressBar::isOrdered() );
    EXPECT_TRUE( isWindowShown( "##notification" ) );
    EXPECT_EQ( viewer().sceneRoot().children().size(), 3u );
}

TEST_F( Opening, StepFilesWaitUntilSomebodyHasSignedIn )
{
    menu_->signOut();
    answerEverything();
    opener_->open( { step( "a" ), folder_.write( "cube.vxu", Testing::cubeFile() ), step( "b" ) } );
    turnUntil( [this] { return opener_->pending() == 0; } );
    settle();
    EXPECT_EQ( opened_, std::vector<std::filesystem::path>{ "cube.vxu" } ) << "what needs no service is open at once";
    EXPECT_EQ( opener_->waitingForSignIn(), 2u );
    UserInfo::setAccessToken( "access" );
    (void)frame();
    EXPECT_EQ( opener_->waitingForSignIn(), 0u );
    turnUntil( [this] { return opener_->pending() == 0; } );
    EXPECT_EQ( opened_.size(), 3u );
}

TEST_F( Opening, TheSettingSendsASingleFileToTheBackgroundToo )
{
    answerEverything();
    Config::instance().setBool( App::cBackgroundImportKey, true );
    opener_->open( { step( "set" ) } );
    EXPECT_FALSE( ProgressBar::isOrdered() );
    turnUntil( [this] { return opened_.size() == 1; } );
}

TEST_F( Opening, TwoFilesOfOneNameTakeTurns )
{
    answerEverything();
    opener_->open( { step( "same", "x" ), step( "same", "y" ) } );
    turnUntil( [this] { return opened_.size() == 2; } );
    size_t requests = 0;
    for ( const auto& request : transport_->sent() )
        requests += request.url.ends_with( "/request" );
    EXPECT_EQ( requests, 1u );
}

TEST_F( Opening, AFailureNamesTheFileAndTheReason )
{
    std::string error;
    opener_->onError = [&]( const std::string& text ) { error = text; };
    const auto openAndWait = [&]( const std::filesystem::path& file )
    {
        error.clear();
        opener_->open( { file } );
        turnUntil( [this] { return opener_->pending() == 0; } );
        return error;
    };
    EXPECT_EQ( openAndWait( folder_.path() / "none.step" ), "\"none.step\" does not exist" );
    EXPECT_EQ( openAndWait( folder_.write( "empty.stp", "" ) ), "\"empty.stp\" is empty" );
    std::filesystem::create_directory( folder_.path() / "dir.step" );
    EXPECT_EQ( openAndWait( folder_.path() / "dir.step" ), "\"dir.step\" is a folder; open a file in it instead" );
    EXPECT_EQ( openAndWait( folder_.write( "a.doc", "x" ) ), "Files of type \".doc\" cannot be opened (a.doc)" );
    const auto file = step( "down" );
    transport_ =
        std::make_shared<ScriptedTransport>( []( const WebRequestData& ) { return failedWebResponse( "refused" ); } );
    setWebTransport( transport_ );
    EXPECT_EQ( openAndWait( file ), "Cannot open \"" + file.filename().string() + "\": Connection error" );
}

TEST_F( Opening, AFailureIsShownToTheUser )
{
    opener_->open( { folder_.path() / "none.step" } );
    turnUntil( [] { return isWindowShown( "##modalMessage" ); } );
}

TEST_P( OpeningStage, CanceledByItsButtonShowsNoErrorAndAddsNothing )
{
    startAndWait( "cancel" );
    drawUntil( [] { return isWindowShown( "##progress" ); } );
    drawFrames( 3 );
    clickWhileBusy( windowPoint( "##progress", 50, 30 ) );
    drawUntil( [] { return !ProgressBar::isOrdered(); } );
    transport_->deliver( failedWebResponse( "gone" ) );
    drawUntil( [this] { return opener_->pending() == 0; } );
    settle();
    EXPECT_FALSE( menu_->isModalShown() );
    EXPECT_TRUE( viewer().sceneRoot().children().empty() );
}

TEST_P( OpeningStage, ClosingTheWindowDoesNotHang )
{
    startAndWait( "closing" );
    window().requestClose();
    viewer().run();
    // TearDown expects that everything has ended in time.
}

INSTANTIATE_TEST_SUITE_P( Each, OpeningStage, testing::Values( "request", "upload", "convert", "status", "download" ),
    []( const auto& info ) { return std::string( info.param ); } );

TEST_F( Opening, FilesOfOneDropAreOpenedOneAfterTheOther )
{
    const auto a = folder_.write( "a.vxu", Testing::cubeFile() ), b = folder_.write( "b.xyz", "0 0 0\n1 1 1\n" );
    window().drop( { a, b } );
    turnUntil( [this] { return opened_.size() == 2; } );
    EXPECT_EQ( opened_, ( std::vector<std::filesystem::path>{ "a.vxu", "b.xyz" } ) );
}
