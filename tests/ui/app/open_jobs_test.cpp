#include "support/TestMeshes.h"
#include "support/ui/OpeningFixture.h"
#include "support/ui/ShownText.h"

#include <step/StepImport.h>

#include <VXMesh/formats/FileFormats.h>
#include <VXMesh/io/Json.h>
#include <VXViewer/history/HistoryStore.h>
#include <VXViewer/scene/SceneDocument.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/work/ProgressBar.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

using namespace VX;

namespace
{

std::atomic<int> sEndlessReads{ 0 };
std::atomic<bool> sDeafReads{ false };
std::atomic<bool> sDeafGoesOn{ true };
std::atomic<bool> sNotesThreads{ false };
std::mutex sMutex;
std::vector<std::thread::id> sReaderThreads;

/// Reads until it is canceled.
tl::expected<LoadedObjects, std::string> readEndlessly( const std::filesystem::path&, const ProgressCallback& progress )
{
    ++sEndlessReads;
    while ( progress( 0.5f ) )
        std::this_thread::yield();
    return tl::unexpected( std::string( cOperationCanceled ) );
}

/// Reads on however often it is canceled.
tl::expected<LoadedObjects, std::string> readDeafly( const std::filesystem::path&, const ProgressCallback& )
{
    sDeafReads = true;
    while ( sDeafGoesOn )
        std::this_thread::yield();
    return LoadedObjects{};
}

/// Many files, and files that change: what a job is from its beginning to its end.
class OpenJobs : public Testing::OpeningFixture
{
protected:
    static void SetUpTestSuite()
    {
        const auto readVxu = FileFormats::find( "x.vxu" )->load;
        FileFormats::add( { "Endless", { ".endless" }, &readEndlessly } );
        FileFormats::add( { "Deaf", { ".deaf" }, &readDeafly } );
        FileFormats::add(
            { "Noted", { ".vxu" }, [readVxu]( const std::filesystem::path& file, const ProgressCallback& progress )
                {
                    if ( sNotesThreads )
                    {
                        const std::lock_guard lock( sMutex );
                        sReaderThreads.push_back( std::this_thread::get_id() );
                    }
                    return readVxu( file, progress );
                } } );
    }
    void TearDown() override
    {
        OpeningFixture::TearDown();
        sNotesThreads = false;
        sReaderThreads.clear();
        sEndlessReads = 0;
    }
    std::vector<std::filesystem::path> cubes( int count )
    {
        std::vector<std::filesystem::path> out;
        for ( int i = 0; i < count; ++i )
            out.push_back( folder_.write( "cube" + std::to_string( i ) + ".vxu", Testing::cubeFile() ) );
        return out;
    }
    void openAndWait( const std::vector<std::filesystem::path>& files )
    {
        opener_->open( files );
        turnUntil( [this] { return opener_->pending() == 0; } );
        settle();
    }
    /// Begins a conversion in the background, signs out while the file is sent, and lets it go on.
    void signOutDuringAConversion()
    {
        hold( "upload" );
        answerEverything();
        Config::instance().setBool( App::cBackgroundImportKey, true );
        opener_->open( { step( "part" ) } );
        drawUntil( [this] { return calls( "upload" ) == 1; } );
        menu_->signOut();
        settle();
        letGo();
        turnUntil( [this] { return opener_->pending() == 0; } );
        settle();
    }
    /// The body of the only request of a name.
    [[nodiscard]] Json::Value bodyOf( const std::string& call ) const
    {
        for ( const auto& request : transport_->sent() )
            if ( request.url.ends_with( "/" + call ) )
                return deserializeJsonValue( request.body ).value();
        return {};
    }
    static void undo() { EXPECT_TRUE( viewer().getHistoryStore()->undo() ); }
};

} // namespace

TEST_F( OpenJobs, ManyFilesAreOneStepAndOneNote )
{
    window().drop( cubes( 12 ) );
    turnUntil( [this] { return opener_->pending() == 0; } );
    settle();
    EXPECT_EQ( opened_.size(), 12u );
    EXPECT_EQ( objectsInScene(), 12u );
    EXPECT_EQ( menu_->notificationCount(), 1u );
    undo();
    EXPECT_EQ( objectsInScene(), 0u );
    EXPECT_FALSE( viewer().getHistoryStore()->canUndo() );
}

TEST_F( OpenJobs, TheBarTellsHowManyOfAll )
{
    auto files = cubes( 2 );
    files.insert( files.begin(), folder_.write( "x.endless", "x" ) );
    opener_->open( files );
    drawUntil( [] { return ProgressBar::state()->fraction > 0; } );
    const auto state = ProgressBar::state();
    EXPECT_EQ( state->name, "Opening 3 files" );
    EXPECT_EQ( state->task, "1 of 3: x.endless" );
    EXPECT_FLOAT_EQ( state->fraction, 0.5f / 3 );
    ProgressBar::cancel();
    drawUntil( [this] { return opener_->pending() == 0; } );
}

TEST_F( OpenJobs, EscapeEndsTheWholeQueue )
{
    std::vector<std::filesystem::path> files;
    for ( int i = 0; i < 5; ++i )
        files.push_back( folder_.write( std::to_string( i ) + ".endless", "x" ) );
    window().drop( files );
    window().drop( files );
    drawUntil( [] { return sEndlessReads > 0 && isWindowShown( "##progress" ); } );
    drawFrames( 3 );
    window().pressKey( GLFW_KEY_ESCAPE, true, 0 );
    drawFrames( 3 );
    window().pressKey( GLFW_KEY_ESCAPE, false, 0 );
    drawUntil( [this] { return opener_->pending() == 0; } );
    EXPECT_EQ( sEndlessReads, 1 );
    EXPECT_FALSE( ProgressBar::isOrdered() );
    EXPECT_FALSE( menu_->isModalShown() );
    openAndWait( cubes( 1 ) );
    EXPECT_EQ( opened_.size(), 1u ) << "the next one is opened";
}

TEST_F( OpenJobs, TheEndOfTheProgramEndsWhatIsReadAndWhatWaits )
{
    const auto file = folder_.write( "x.endless", "x" );
    opener_->open( { file } );
    opener_->open( { file } );
    drawUntil( [] { return sEndlessReads > 0; } );
    EXPECT_EQ( opener_->pending(), 2u );
    EXPECT_TRUE( viewer().stop() );
    EXPECT_EQ( opener_->pending(), 0u );
    EXPECT_EQ( sEndlessReads, 1 );
}

TEST_F( OpenJobs, NothingIsOpenedAnyMoreWhileTheProgramEnds )
{
    opener_->open( { folder_.write( "x.deaf", "x" ) } );
    drawUntil( [] { return sDeafReads.load(); } );
    ProgressBar::cancel();
    opener_->open( { folder_.write( "x.endless", "x" ) } );
    opener_->open( cubes( 1 ) );
    EXPECT_EQ( opener_->pending(), 3u );
    sDeafGoesOn = false;
    EXPECT_TRUE( viewer().stop() );
    EXPECT_EQ( opener_->pending(), 0u );
    EXPECT_FALSE( ProgressBar::isOrdered() );
    EXPECT_TRUE( opened_.empty() );
}

TEST_F( OpenJobs, FiftyBadFilesAreOneMessage )
{
    auto files = cubes( 1 );
    for ( int i = 0; i < 50; ++i )
        files.push_back( folder_.path() / ( "none" + std::to_string( i ) + ".stl" ) );
    openAndWait( files );
    EXPECT_TRUE( isWindowShown( "##modalMessage" ) );
    press( GLFW_KEY_ESCAPE );
    EXPECT_FALSE( menu_->isModalShown() );
    EXPECT_EQ( objectsInScene(), 1u );
}

TEST_F( OpenJobs, SeveralConversionsAreOneNoteThatCanBeCanceled )
{
    hold( "status" );
    answerEverything();
    opener_->open( { step( "a" ), step( "b" ), step( "c" ) } );
    drawUntil( [this] { return calls( "status" ) == 3; } );
    EXPECT_EQ( menu_->notificationCount(), 1u );
    clickButtonOfNote();
    drawUntil( [this] { return opener_->pending() == 0; } );
    EXPECT_EQ( menu_->notificationCount(), 0u );
    while ( transport_->deliver( failedWebResponse( "gone" ) ) )
        ;
    settle();
    EXPECT_FALSE( menu_->isModalShown() );
    EXPECT_EQ( menu_->notificationCount(), 0u ) << "no error after a cancel";
    EXPECT_EQ( objectsInScene(), 0u );
}

TEST_F( OpenJobs, SeveralConversionsAreOneStep )
{
    answerEverything();
    openAndWait( { step( "a" ), step( "b" ), cubes( 1 ).front() } );
    EXPECT_EQ( opened_.size(), 3u );
    undo();
    EXPECT_EQ( objectsInScene(), 0u );
}

TEST_F( OpenJobs, ConvertedFilesAreReadOffTheUiThread )
{
    answerEverything();
    const auto a = step( "a" ), b = step( "b" );
    openAndWait( { a, b } );
    sNotesThreads = true;
    openAndWait( { a, b } );
    EXPECT_EQ( calls( "request" ), 2u );
    ASSERT_EQ( sReaderThreads.size(), 2u );
    for ( const auto& thread : sReaderThreads )
        EXPECT_NE( thread, std::this_thread::get_id() );
}

TEST_F( OpenJobs, NamesThatDifferInTheExtensionTakeTurns )
{
    hold( "status" );
    answerEverything();
    opener_->open( { step( "part", "", ".step", "ISO a" ), step( "part", "", ".stp", "ISO b" ) } );
    drawUntil( [this] { return calls( "status" ) == 1; } );
    drawFrames( 20 );
    EXPECT_EQ( calls( "request" ), 1u );
    letGo();
    turnUntil( [this] { return opener_->pending() == 0; } );
    EXPECT_EQ( calls(), ( std::vector<std::string>{ "request", "upload", "convert", "status", "download", "request",
                            "upload", "convert", "status", "download" } ) );
    EXPECT_EQ( objectsInScene(), 2u );
}

TEST_F( OpenJobs, TheBarWaitsForAConversionInTheBackground )
{
    hold( "status" );
    answerEverything();
    Config::instance().setBool( App::cBackgroundImportKey, true );
    const auto file = step( "part" );
    opener_->open( { file } );
    drawUntil( [this] { return calls( "status" ) == 1; } );
    Config::instance().setBool( App::cBackgroundImportKey, false );
    opener_->open( { file } );
    drawUntil( [] { return ProgressBar::state()->task == "Waiting for another import of this name"; } );
    EXPECT_EQ( calls( "request" ), 1u );
    ProgressBar::cancel();
    drawUntil( [this] { return opener_->pending() == 1; } );
    letGo();
    turnUntil( [this] { return opener_->pending() == 0; } );
    EXPECT_EQ( opened_.size(), 1u );
}

TEST_F( OpenJobs, ACanceledConversionThatStillRunsIsWaitedFor )
{
    hold( "upload" );
    answerEverything();
    const auto file = step( "part" );
    opener_->open( { file } );
    drawUntil( [this] { return calls( "upload" ) == 1; } );
    ProgressBar::cancel();
    opener_->open( { file } );
    drawUntil(
        []
        {
            const auto state = ProgressBar::state();
            return state && state->task == "Waiting for another import of this name";
        } );
    EXPECT_EQ( calls( "request" ), 1u );
    letGo();
    turnUntil( [this] { return opener_->pending() == 0; } );
    EXPECT_EQ( opened_.size(), 1u );
    EXPECT_EQ( calls( "request" ), 2u );
}

TEST_F( OpenJobs, AServiceThatDidNotAnswerCanBeAskedAgain )
{
    const auto file = step( "down" );
    transport_ =
        std::make_shared<ScriptedTransport>( []( const WebRequestData& ) { return failedWebResponse( "refused" ); } );
    setWebTransport( transport_ );
    openAndWait( { file } );
    ASSERT_TRUE( isWindowShown( "##modalMessage" ) );
    answerEverything();
    click( windowPoint( "##modalMessage", 160, 30 ) );
    turnUntil( [this] { return opened_.size() == 1; } );
    EXPECT_EQ( objectsInScene(), 1u );
}

TEST_F( OpenJobs, AFailureInTheBackgroundCanBeTriedAgainFromItsNote )
{
    Config::instance().setBool( App::cBackgroundImportKey, true );
    const auto file = step( "down" );
    transport_ =
        std::make_shared<ScriptedTransport>( []( const WebRequestData& ) { return failedWebResponse( "refused" ); } );
    setWebTransport( transport_ );
    openAndWait( { file } );
    EXPECT_FALSE( menu_->isModalShown() );
    ASSERT_EQ( menu_->notificationCount(), 1u );
    answerEverything();
    clickButtonOfNote();
    turnUntil( [this] { return opened_.size() == 1; } );
}

TEST_F( OpenJobs, ASignOutTakesTheTokenFromAConversionInTheBackground )
{
    signOutDuringAConversion();
    EXPECT_TRUE( bodyOf( "request" ).isMember( "access_token" ) );
    ASSERT_TRUE( bodyOf( "convert" ).isObject() );
    EXPECT_FALSE( bodyOf( "convert" ).isMember( "access_token" ) );
    EXPECT_EQ( opener_->waitingForSignIn(), 0u );
    EXPECT_EQ( objectsInScene(), 1u );
    EXPECT_TRUE( isWindowShown( "Auth window" ) );
}

TEST_F( OpenJobs, AConversionThatTheServiceRefusesAfterASignOutIsOneNote )
{
    refuse( "convert", 401, "Sign in to convert files" );
    signOutDuringAConversion();
    EXPECT_EQ( opener_->waitingForSignIn(), 0u );
    EXPECT_EQ( objectsInScene(), 0u );
    EXPECT_FALSE( menu_->isModalShown() );
    EXPECT_EQ( menu_->notificationCount(), 1u );
    auto note = Testing::shownText( "##notification" );
    std::replace( note.begin(), note.end(), '\n', ' ' );
    EXPECT_NE( note.find( "Sign in to convert files" ), std::string::npos ) << note;
}

TEST_F( OpenJobs, AFileThatChangesOnTheDiskIsReloadedInItsPlace )
{
    const auto file = cubes( 1 ).front();
    openAndWait( { file } );
    const auto former = viewer().sceneRoot().children().front();
    folder_.write( "other.txt", "x" );
    folder_.write( file.filename(), Testing::cubeFile() + " " );
    turnUntil( [this] { return menu_->notificationCount() == 1; } );
    folder_.write( file.filename(), Testing::cubeFile() );
    clickButtonOfNote();
    turnUntil( [this] { return opened_.size() == 2; } );
    ASSERT_EQ( objectsInScene(), 1u );
    EXPECT_NE( viewer().sceneRoot().children().front(), former );
    undo();
    ASSERT_EQ( objectsInScene(), 1u );
    EXPECT_EQ( viewer().sceneRoot().children().front(), former );
    EXPECT_TRUE( viewer().getHistoryStore()->redo() );
    ASSERT_EQ( objectsInScene(), 1u );
    EXPECT_NE( viewer().sceneRoot().children().front(), former );
}

TEST_F( OpenJobs, WhatTheProgramSavesItselfIsNoChange )
{
    const auto files = cubes( 2 );
    openAndWait( files );
    EXPECT_TRUE( sceneDocument().save( files[0] ) );
    // Changes are told in their order, so the first would be there with the second.
    folder_.write( files[1].filename(), Testing::cubeFile() + " " );
    turnUntil( [this] { return menu_->notificationCount() > 1; } );
    settle();
    EXPECT_EQ( menu_->notificationCount(), 2u ) << "that two files are open, and that the second has changed";
}

TEST_F( OpenJobs, AnOpenedStepFileIsConvertedAnewOnDemand )
{
    answerEverything();
    const auto file = step( "again" );
    openAndWait( { cubes( 1 ).front() } );
    openAndWait( { file } );
    viewer().sceneRoot().children().front()->select( true );
    pressTool( "Convert anew" );
    EXPECT_EQ( menu_->notificationCount(), 1u ) << "the selected object is of another file";
    EXPECT_EQ( opener_->pending(), 0u );
    viewer().sceneRoot().children().front()->select( false );
    pressTool( "Convert anew" );
    turnUntil( [this] { return opened_.size() == 3; } );
    EXPECT_EQ( calls( "request" ), 2u );
    EXPECT_EQ( objectsInScene(), 2u );
}
