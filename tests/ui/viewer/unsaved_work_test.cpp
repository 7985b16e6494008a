#include "support/TestMeshes.h"
#include "support/ui/UiFixture.h"

#include <VXMesh/formats/FileFormats.h>
#include <VXViewer/core/ViewerTitle.h>
#include <VXViewer/history/HistoryStore.h>
#include <VXViewer/scene/Autosave.h>
#include <VXViewer/scene/SceneDocument.h>
#include <VXViewer/scene/SceneEdits.h>
#include <VXViewer/work/ProgressBar.h>

#include <GLFW/glfw3.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace VX;

namespace
{

constexpr const char* cQuestion = "##question";

class UnsavedWork : public Testing::UiFixture
{
protected:
    void TearDown() override
    {
        autosave().setTimes( {} );
        UiFixture::TearDown();
    }

    static Autosave& autosave() { return *viewer().getMenuPlugin()->autosave(); }
    static SceneDocument& document() { return sceneDocument(); }
    static size_t objectCount() { return viewer().sceneRoot().children().size(); }
    void edit()
    {
        SceneEdits::add( "Create Cube", { Testing::meshObject( "New cube", Testing::cube() ) } );
        settle();
    }
    void open( const std::filesystem::path& file )
    {
        opener_->open( { file } );
        turnUntil( [this] { return opener_->pending() == 0; } );
        settle();
    }
    std::filesystem::path sceneFile( const std::string& name ) { return folder_.write( name, Testing::cubeFile() ); }
    static size_t objectsIn( const std::filesystem::path& file )
    {
        const auto loaded = loadObjectFromFile( file );
        return loaded ? loaded->objects.size() : 0;
    }
    /// Asks the window to close as its button does.
    void requestClose()
    {
        window().requestClose();
        settle();
    }
    static bool isAsked() { return isWindowShown( cQuestion ); }
    /// Presses the answer of a question that many places from the right.
    void answer( int place )
    {
        constexpr float cWidth = 96, cGap = 8;
        click( windowPoint( cQuestion, 64 + float( place ) * ( cWidth + cGap ), 32 ) );
    }
    void discard() { answer( 2 ); }

    /// The folders in which unsaved work is kept, by this program or by others.
    std::vector<std::filesystem::path> slots() const
    {
        std::vector<std::filesystem::path> out;
        std::error_code ec;
        for ( const auto& entry :
            std::filesystem::directory_iterator( folder_.path() / ".state/Orvanta/recovery", ec ) )
            if ( entry.is_directory() )
                out.push_back( entry.path() );
        return out;
    }
    bool isKept() const
    {
        const auto all = slots();
        return all.size() == 1 && std::filesystem::exists( all[0] / "info.json" );
    }

    /// What a program has left that was killed.
    void leaveWork( const std::filesystem::path& file = {}, int64_t time = 1000000000 )
    {
        auto slot = RecoverySlot::create( autosave().folder() );
        ASSERT_TRUE( slot ) << slot.error();
        const auto scene = Testing::cubeFile();
        ASSERT_TRUE( slot->writeScene( std::as_bytes( std::span( scene ) ) ) );
        ASSERT_TRUE( slot->writeInfo( { file, time } ) );
    }
};

} // namespace

TEST_F( UnsavedWork, ASavedSceneIsClosedWithoutAQuestion )
{
    openCube();
    requestClose();
    EXPECT_TRUE( viewer().isClosing() );
}

TEST_F( UnsavedWork, ClosingAsksAndEscapeStays )
{
    edit();
    requestClose();
    EXPECT_FALSE( viewer().isClosing() );
    ASSERT_TRUE( isAsked() );
    press( GLFW_KEY_ESCAPE );
    EXPECT_FALSE( isAsked() );
    EXPECT_FALSE( viewer().isClosing() );
    EXPECT_EQ( objectCount(), 1u );
}

TEST_F( UnsavedWork, ClosingTwiceAsksOnce )
{
    edit();
    requestClose();
    requestClose();
    press( GLFW_KEY_ESCAPE );
    EXPECT_FALSE( isAsked() );
}

TEST_F( UnsavedWork, DiscardCloses )
{
    edit();
    pressTool( "Quit" );
    ASSERT_TRUE( isAsked() );
    discard();
    EXPECT_TRUE( viewer().isClosing() );
}

TEST_F( UnsavedWork, AnswersAreGivenByAltAndTheirLettersOnly )
{
    edit();
    requestClose();
    press( GLFW_KEY_D );
    ASSERT_TRUE( isAsked() );
    press( GLFW_KEY_C, GLFW_MOD_ALT );
    EXPECT_FALSE( isAsked() );
    EXPECT_FALSE( viewer().isClosing() );
    requestClose();
    press( GLFW_KEY_D, GLFW_MOD_ALT );
    EXPECT_TRUE( viewer().isClosing() );
}

TEST_F( UnsavedWork, IsAskedAboutWhileWorkGoesOnAndThatGoesOnAfterwards )
{
    edit();
    std::atomic<bool> ending{ false };
    ProgressBar::order( "job",
        [&]
        {
            while ( !ending && ProgressBar::setProgress( 0.5f ) )
                std::this_thread::yield();
        } );
    drawUntil( [] { return isWindowShown( "##progress" ); } );
    window().requestClose();
    drawUntil( [] { return isAsked(); } );
    EXPECT_FALSE( isWindowShown( "##progress" ) );
    window().pressKey( GLFW_KEY_ESCAPE, true );
    drawUntil( [] { return isWindowShown( "##progress" ); } );
    window().pressKey( GLFW_KEY_ESCAPE, false );
    EXPECT_TRUE( ProgressBar::isOrdered() );
    ending = true;
    turnUntil( [] { return !ProgressBar::isOrdered(); } );
    EXPECT_TRUE( ProgressBar::shutdown( std::chrono::seconds( 5 ) ) );
    settle();
}

TEST_F( UnsavedWork, EnterSavesToWhereTheSceneBelongsAndCloses )
{
    const auto file = sceneFile( "mine.vxu" );
    open( file );
    edit();
    press( GLFW_KEY_Q, GLFW_MOD_CONTROL );
    ASSERT_TRUE( isAsked() );
    EXPECT_EQ( objectsIn( file ), 1u );
    press( GLFW_KEY_ENTER );
    EXPECT_EQ( objectsIn( file ), 2u );
    EXPECT_TRUE( viewer().isClosing() );
}

TEST_F( UnsavedWork, SavingAnUnnamedSceneAsksWhere )
{
    edit();
    requestClose();
    press( GLFW_KEY_ENTER );
    EXPECT_FALSE( viewer().isClosing() );
    ASSERT_TRUE( isWindowShown( "Save##fileDialog" ) );
    press( GLFW_KEY_ENTER );
    EXPECT_TRUE( viewer().isClosing() );
    EXPECT_EQ( objectsIn( folder_.path() / "New cube.vxu" ), 1u );
}

TEST_F( UnsavedWork, WhatCannotBeSavedIsNotClosed )
{
    edit();
    document().setFile( folder_.path() / "no such folder/scene.vxu" );
    requestClose();
    press( GLFW_KEY_ENTER );
    EXPECT_TRUE( isWindowShown( "##modalMessage" ) );
    EXPECT_FALSE( viewer().isClosing() );
    EXPECT_FALSE( document().isSaved() );
}

TEST_F( UnsavedWork, OpeningIsNoneAndUndoingLeadsBackToSaved )
{
    open( folder_.write( "points.xyz", "0 0 0\n1 1 1\n" ) );
    EXPECT_TRUE( document().isSaved() );
    edit();
    EXPECT_FALSE( document().isSaved() );
    press( GLFW_KEY_Z, GLFW_MOD_CONTROL );
    EXPECT_TRUE( document().isSaved() );
    press( GLFW_KEY_Y, GLFW_MOD_CONTROL );
    EXPECT_FALSE( document().isSaved() );
    EXPECT_EQ( objectCount(), 2u );
}

TEST_F( UnsavedWork, TheTitleMarksItAndEndsWithTheAddress )
{
    open( sceneFile( "mine.vxu" ) );
    const auto saved = window().title();
    EXPECT_EQ( saved.find( "mine.vxu - Orvanta" ), 0u ) << saved;
    EXPECT_TRUE( saved.ends_with( " ann@example.org" ) ) << saved;
    edit();
    EXPECT_EQ( window().title(), "*" + saved );
    pressTool( "Save scene" );
    EXPECT_EQ( window().title(), saved );
}

TEST_F( UnsavedWork, ANewSceneAsksFirstAndHasNoFile )
{
    open( sceneFile( "mine.vxu" ) );
    edit();
    press( GLFW_KEY_N, GLFW_MOD_CONTROL );
    ASSERT_TRUE( isAsked() );
    EXPECT_EQ( objectCount(), 2u );
    discard();
    EXPECT_EQ( objectCount(), 0u );
    EXPECT_TRUE( document().isSaved() );
    EXPECT_TRUE( document().file().empty() );
    EXPECT_EQ( window().title().find( "Orvanta" ), 0u ) << window().title();
    press( GLFW_KEY_N, GLFW_MOD_CONTROL );
    EXPECT_FALSE( isAsked() );
}

TEST_F( UnsavedWork, ASceneFileTakesThePlaceOfASavedScene )
{
    open( sceneFile( "a.vxu" ) );
    open( sceneFile( "b.vxu" ) );
    EXPECT_FALSE( isAsked() );
    EXPECT_EQ( objectCount(), 1u );
    EXPECT_EQ( document().file().filename(), "b.vxu" );
}

TEST_F( UnsavedWork, AnotherSceneAsksFirst )
{
    edit();
    const auto other = sceneFile( "other.vxu" );
    opener_->open( { other } );
    settle();
    ASSERT_TRUE( isAsked() );
    press( GLFW_KEY_ESCAPE );
    EXPECT_EQ( opener_->pending(), 0u );
    EXPECT_EQ( viewer().sceneRoot().children()[0]->name(), "New cube" );
    opener_->open( { other } );
    settle();
    discard();
    turnUntil( [this] { return opener_->pending() == 0; } );
    EXPECT_EQ( objectCount(), 1u );
    EXPECT_EQ( document().file(), other );
    EXPECT_TRUE( document().isSaved() );
}

TEST_F( UnsavedWork, ASceneThatCannotBeReadTakesNoPlace )
{
    open( sceneFile( "a.vxu" ) );
    open( folder_.write( "broken.vxu", "glTF and no more" ) );
    EXPECT_EQ( objectCount(), 1u );
    EXPECT_EQ( document().file().filename(), "a.vxu" );
}

TEST_F( UnsavedWork, SeveralFilesAreAddedToTheScene )
{
    edit();
    opener_->open( { sceneFile( "a.vxu" ), sceneFile( "b.vxu" ) } );
    turnUntil( [this] { return opener_->pending() == 0; } );
    EXPECT_EQ( objectCount(), 3u );
    EXPECT_TRUE( document().file().empty() );
}

TEST_F( UnsavedWork, ASceneWhoseOpeningWasTakenBackTakesItsFileAlong )
{
    const auto file = sceneFile( "mine.vxu" );
    open( file );
    pressTool( "Undo" );
    EXPECT_TRUE( document().file().empty() );
    pressTool( "Redo" );
    EXPECT_EQ( document().file(), file );
}

TEST_F( UnsavedWork, IsKeptForItsOwnerAloneAndDroppedWhenSaved )
{
    autosave().setTimes( { .interval = std::chrono::milliseconds( 1 ) } );
    edit();
    drawUntil( [this] { return isKept(); } );
    const auto slot = slots().front();
    EXPECT_EQ( objectsIn( slot / "scene.vxu" ), 1u );
    EXPECT_EQ( unsigned( std::filesystem::status( slot ).permissions() ), 0700u );
    EXPECT_EQ( unsigned( std::filesystem::status( slot / "scene.vxu" ).permissions() ), 0600u );
    ASSERT_TRUE( document().save( folder_.path() / "saved.vxu" ) );
    drawUntil( [&] { return !std::filesystem::exists( slot / "info.json" ); } );
}

TEST_F( UnsavedWork, NothingIsKeptOfWhatStandsInAFile )
{
    openCube();
    autosave().keepNow();
    autosave().workEnded( std::chrono::hours( 1 ) );
    restart();
    EXPECT_TRUE( slots().empty() );
}

TEST_F( UnsavedWork, IsKeptAtOnceAfterLongWork )
{
    edit();
    autosave().workEnded( std::chrono::seconds( 1 ) );
    autosave().workEnded( std::chrono::minutes( 1 ) );
    drawUntil( [this] { return isKept(); } );
}

TEST_F( UnsavedWork, ACleanEndLeavesNothing )
{
    edit();
    autosave().keepNow();
    drawUntil( [this] { return isKept(); } );
    restart();
    EXPECT_TRUE( slots().empty() );
    EXPECT_FALSE( isAsked() );
}

TEST_F( UnsavedWork, OfADeadProgramIsRecovered )
{
    leaveWork( folder_.path() / "lost.vxu" );
    restart();
    ASSERT_TRUE( isAsked() );
    press( GLFW_KEY_ENTER );
    turnUntil( [] { return objectCount() == 1; } );
    settle();
    EXPECT_FALSE( document().isSaved() );
    EXPECT_EQ( document().file().filename(), "lost.vxu" );
    EXPECT_EQ( window().title().find( "*lost.vxu" ), 0u ) << window().title();
    EXPECT_TRUE( isKept() ) << "until it is saved";
    pressTool( "Save scene" );
    EXPECT_EQ( objectsIn( folder_.path() / "lost.vxu" ), 1u );
    restart();
    EXPECT_TRUE( slots().empty() );
}

TEST_F( UnsavedWork, OfADeadProgramIsOfferedAgainUntilItIsAnswered )
{
    leaveWork();
    restart();
    ASSERT_TRUE( isAsked() );
    press( GLFW_KEY_ESCAPE );
    EXPECT_FALSE( isAsked() );
    restart();
    ASSERT_TRUE( isAsked() );
    answer( 1 );
    EXPECT_FALSE( isAsked() );
    EXPECT_TRUE( slots().empty() );
    EXPECT_EQ( objectCount(), 0u );
}

TEST_F( UnsavedWork, OfARunningProgramIsNotOffered )
{
    leaveWork();
    const auto running = RecoverySlot::takeAbandoned( autosave().folder() );
    ASSERT_EQ( running.size(), 1u );
    restart();
    EXPECT_FALSE( isAsked() );
    EXPECT_EQ( slots().size(), 1u );
}

namespace
{

class UnsavedWorkBehindTheSignIn : public UnsavedWork
{
protected:
    [[nodiscard]] bool isSignedIn() const override { return false; }
};

} // namespace

TEST_F( UnsavedWorkBehindTheSignIn, IsAskedAboutBeforeTheWindowCloses )
{
    edit();
    requestClose();
    ASSERT_TRUE( isAsked() );
    press( GLFW_KEY_D, GLFW_MOD_ALT );
    EXPECT_TRUE( viewer().isClosing() );
}

TEST_F( UnsavedWorkBehindTheSignIn, OfADeadProgramWaitsForIt )
{
    leaveWork();
    restart();
    EXPECT_FALSE( isAsked() );
    EXPECT_EQ( slots().size(), 1u );
}

TEST( Pictures, KeepNoUnsavedWork )
{
    auto& viewer = getViewerInstance();
    LaunchParams params;
    params.windowless = params.picturesOnly = true;
    const auto menu = std::make_shared<RibbonMenu>();
    viewer.setMenuPlugin( menu );
    ASSERT_TRUE( viewer.start( params ) );
    EXPECT_EQ( menu->autosave(), nullptr );
    EXPECT_TRUE( viewer.stop() );
}
