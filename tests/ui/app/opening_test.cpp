#include "support/TestMeshes.h"
#include "support/ui/OpeningFixture.h"

#include <VXOrvanta/account/UserInfo.h>
#include <VXViewer/scene/SceneDocument.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/work/ProgressBar.h>

#include <gtest/gtest.h>

#include <fstream>

#include <sys/inotify.h>
#include <unistd.h>

using namespace VX;

namespace
{

class Opening : public Testing::OpeningFixture
{
};

/// An import that stops where the service no longer answers, in the stage that is named.
class OpeningStage : public Opening, public testing::WithParamInterface<const char*>
{
protected:
    void startAndWait( const std::string& stem )
    {
        hold( GetParam() );
        answerEverything();
        opener_->open( { step( stem ) } );
        drawUntil( [this] { return calls( GetParam() ) > 0; } );
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

TEST_F( Opening, SeveralStepFilesAreConvertedInTheBackgroundWithOneNote )
{
    answerEverything();
    window().drop( { step( "a" ), step( "b" ), step( "c" ) } );
    turnUntil( [this] { return opened_.size() == 3; } );
    settle();
    EXPECT_FALSE( ProgressBar::isOrdered() );
    EXPECT_EQ( menu_->notificationCount(), 1u );
    EXPECT_EQ( objectsInScene(), 3u );
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

TEST_F( Opening, WhatWasConvertedBeforeWaitsForNobody )
{
    answerEverything();
    const auto file = step( "known" );
    opener_->open( { file } );
    turnUntil( [this] { return opened_.size() == 1; } );
    menu_->signOut();
    opener_->open( { file } );
    EXPECT_EQ( opener_->waitingForSignIn(), 0u );
    turnUntil( [this] { return opened_.size() == 2; } );
    EXPECT_EQ( calls( "request" ), 1u );
    std::ofstream( file, std::ios::app ) << "/* changed */";
    opener_->open( { file } );
    EXPECT_EQ( opener_->waitingForSignIn(), 1u );
    EXPECT_EQ( opened_.size(), 2u );
}

TEST_F( Opening, ASceneFileBesideOneThatWaitsTakesThePlaceOfTheScene )
{
    openCube();
    menu_->signOut();
    opener_->open( { step( "waits" ), folder_.write( "other.vxu", Testing::cubeFile() ) } );
    EXPECT_EQ( opener_->waitingForSignIn(), 1u );
    turnUntil( [this] { return opener_->pending() == 0; } );
    EXPECT_EQ( objectsInScene(), 1u );
    EXPECT_EQ( sceneDocument().file().filename(), "other.vxu" );
    opener_->open( { step( "more" ), folder_.write( "a.vxu", Testing::cubeFile() ),
        folder_.write( "b.vxu", Testing::cubeFile() ) } );
    EXPECT_EQ( opener_->waitingForSignIn(), 2u );
    turnUntil( [this] { return opener_->pending() == 0; } );
    EXPECT_EQ( objectsInScene(), 3u ) << "several are added to it";
}

TEST_F( Opening, WhetherAFileWaitsIsFoundOutByOneLook )
{
    menu_->signOut();
    std::filesystem::create_directories( folder_.path() / "Orvanta" );
    const auto record = folder_.write( "Orvanta/imports.json", "{}" );
    const int watch = ::inotify_init1( IN_NONBLOCK | IN_CLOEXEC );
    ASSERT_GE( ::inotify_add_watch( watch, record.c_str(), IN_OPEN | IN_CLOSE_NOWRITE ), 0 );
    opener_->open( { step( "a" ), step( "b" ), folder_.write( "cube.vxu", Testing::cubeFile() ), step( "c" ) } );
    EXPECT_EQ( opener_->waitingForSignIn(), 3u );
    alignas( inotify_event ) char events[4096];
    EXPECT_EQ( ::read( watch, events, sizeof events ), ssize_t( 3 * 2 * sizeof( inotify_event ) ) )
        << "opened and closed for each of the three";
    ::close( watch );
    turnUntil( [this] { return opener_->pending() == 0; } );
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
    EXPECT_EQ( calls( "request" ), 1u ) << "the same bytes";
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
    EXPECT_EQ( openAndWait( file ), "Cannot open \"" + file.filename().string() +
                                        "\": Connection error\nThe conversion service at " ORVANTA_CONVERTER_URL
                                        " did not answer. See that the network works and try again" );
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
