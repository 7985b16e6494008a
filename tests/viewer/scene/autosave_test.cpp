#include "support/LogCapture.h"
#include "support/Patience.h"
#include "support/SceneFixture.h"
#include "support/ScratchFolder.h"

#include <VXMesh/formats/VxuFormat.h>
#include <VXMesh/io/Json.h>
#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/scene/Autosave.h>

#include <imgui.h>

#include <optional>
#include <thread>

using namespace VX;
using namespace std::chrono_literals;

namespace
{

template <typename Condition>
void waitUntil( const Condition& condition )
{
    const Testing::Patience patience;
    while ( !condition() )
    {
        patience.check();
        std::this_thread::yield();
    }
}

class AutosaveTest : public Testing::SceneFixture
{
protected:
    AutosaveTest()
    {
        CommandLoop::open();
        CommandLoop::processCommands();
        autosave_.emplace( viewer(), folder() );
    }
    ~AutosaveTest() override { EXPECT_TRUE( !autosave_ || finish() ); }

    [[nodiscard]] std::filesystem::path folder() const { return scratch_.path() / "recovery"; }
    [[nodiscard]] bool finish() { return autosave_->finish( std::chrono::seconds( Testing::Patience::cSeconds ) ); }
    /// The slots that hold work.
    [[nodiscard]] std::vector<std::filesystem::path> kept() const
    {
        std::vector<std::filesystem::path> out;
        std::error_code ec;
        for ( const auto& entry : std::filesystem::directory_iterator( folder(), ec ) )
            if ( std::filesystem::exists( entry.path() / "info.json", ec ) )
                out.push_back( entry.path() );
        return out;
    }
    [[nodiscard]] std::filesystem::path waitForWork() const
    {
        waitUntil( [this] { return !kept().empty(); } );
        return kept().front();
    }
    void waitForNoWork() const
    {
        waitUntil( [this] { return kept().empty(); } );
    }
    [[nodiscard]] static std::string namesIn( const std::filesystem::path& slot )
    {
        const auto bytes = Testing::readFile( slot / "scene.vxu" );
        const auto loaded = readVxu( std::as_bytes( std::span( bytes ) ) );
        std::string out;
        if ( loaded )
            for ( const auto& object : loaded->objects )
                out += object->name() + " ";
        return out;
    }
    void waitForScene( const std::string& expected ) const
    {
        waitUntil( [&] { return !kept().empty() && namesIn( kept().front() ) == expected; } );
    }

    /// Gives it a slot into which no scene can be written, which is logged when it is tried.
    std::filesystem::path adoptFull()
    {
        auto slot = RecoverySlot::create( folder() );
        EXPECT_TRUE( slot );
        std::filesystem::create_directory( slot->scene() );
        const auto place = slot->scene().parent_path();
        autosave_->adopt( std::move( *slot ) );
        return place;
    }
    /// Waits until the thread has done what it was told before: it takes another full slot in the place of `current`
    /// before it writes, and a second one after it has tried to. Returns that one.
    std::filesystem::path catchUp( std::filesystem::path current )
    {
        for ( int i = 0; i < 2; ++i )
        {
            auto next = adoptFull();
            waitUntil( [&] { return !std::filesystem::exists( current ); } );
            current = std::move( next );
        }
        return current;
    }
    /// How often a scene was written to a full slot.
    [[nodiscard]] size_t tries() const { return log_.count( "warning: Cannot write " ); }

    const Testing::LogCapture log_;
    const Testing::ScratchFolder scratch_;
    std::optional<Autosave> autosave_;
};

} // namespace

TEST_F( AutosaveTest, KeepsTheSceneWithWhereItBelongs )
{
    add( "first" );
    add( "second" );
    sceneDocument().setFile( "/scenes/b\u00e4r.vxu" );
    autosave_->keepNow();
    const auto slot = waitForWork();
    EXPECT_EQ( namesIn( slot ), "first second " );
    const auto info = deserializeJsonValue( slot / "info.json" );
    ASSERT_TRUE( info );
    EXPECT_EQ( ( *info )["file"], "/scenes/b\u00e4r.vxu" );
    EXPECT_GT( ( *info )["time"].asInt64(), 1'700'000'000 );
    EXPECT_EQ( names(), "first second " ) << "the scene keeps its own objects";
}

TEST_F( AutosaveTest, NothingIsUnsavedNothingIsKept )
{
    add( "work" );
    const auto slot = adoptFull();
    autosave_->keepNow();
    waitUntil( [this] { return tries() == 1; } );
    history().markSaved();
    autosave_->keepNow();
    catchUp( slot );
    EXPECT_EQ( tries(), 1u );
}

TEST_F( AutosaveTest, GoesWhenTheSceneIsSaved )
{
    add( "work" );
    autosave_->keepNow();
    waitForScene( "work " );
    const auto slot = kept().front();
    history().markSaved();
    waitForNoWork();
    waitUntil( [&] { return !std::filesystem::exists( slot / "scene.vxu" ); } );
    add( "more" );
    autosave_->keepNow();
    EXPECT_EQ( waitForWork(), slot ) << "the same slot is used again";
}

TEST_F( AutosaveTest, GoesWhenTheSceneIsEmptied )
{
    const auto work = add( "work" );
    autosave_->keepNow();
    waitForScene( "work " );
    SceneEdits::remove( "Delete", { work } );
    EXPECT_FALSE( sceneDocument().isSaved() );
    autosave_->keepNow();
    waitForNoWork();
}

TEST_F( AutosaveTest, LongWorkIsKeptAtOnceAndShortWorkInItsTime )
{
    autosave_->setTimes( { .interval = 24h, .longWork = 5000ms } );
    auto slot = adoptFull();
    add( "work" );
    autosave_->workEnded( 5000ms );
    waitUntil( [this] { return tries() == 1; } );
    add( "more" );
    autosave_->workEnded( 4999ms );
    slot = catchUp( slot );
    EXPECT_EQ( tries(), 1u );
    autosave_->workEnded( 6s );
    waitUntil( [this] { return tries() == 2; } );
    autosave_->workEnded( 1h );
    catchUp( slot );
    EXPECT_EQ( tries(), 2u ) << "what is kept already is not kept again";
}

TEST_F( AutosaveTest, EveryChangeIsKeptWhenItsTimeHasCome )
{
    ImGui::CreateContext();
    autosave_->setTimes( { .interval = 0ms } );
    add( "work" );
    waitUntil( [] { return !CommandLoop::isEmpty(); } );
    EXPECT_TRUE( kept().empty() ) << "the scene is looked at on the thread that it belongs to";
    CommandLoop::processCommands();
    waitForScene( "work " );
    ImGui::DestroyContext();
}

TEST_F( AutosaveTest, ACommandThatIsRunTooLateFindsItGone )
{
    autosave_->setTimes( { .interval = 0ms } );
    add( "work" );
    waitUntil( [] { return !CommandLoop::isEmpty(); } );
    EXPECT_TRUE( finish() );
    autosave_.reset();
    CommandLoop::processCommands();
    EXPECT_TRUE( kept().empty() );
}

TEST_F( AutosaveTest, AnEndOnPurposeLeavesNothing )
{
    add( "work" );
    autosave_->keepNow();
    const auto slot = waitForWork();
    EXPECT_TRUE( finish() );
    EXPECT_FALSE( std::filesystem::exists( slot ) );
    add( "more" );
    EXPECT_TRUE( RecoverySlot::takeAbandoned( folder() ).empty() );
}

TEST_F( AutosaveTest, WithoutWorkEndsAtOnce )
{
    EXPECT_TRUE( autosave_->finish( 0ms ) );
    EXPECT_FALSE( std::filesystem::exists( folder() ) );
}

TEST_F( AutosaveTest, GoesOnInASlotThatItIsGiven )
{
    const std::string former = Testing::cubeFile();
    auto slot = RecoverySlot::create( folder() );
    ASSERT_TRUE( slot );
    ASSERT_TRUE( slot->writeScene( std::as_bytes( std::span( former ) ) ) );
    ASSERT_TRUE( slot->writeInfo( { "/scenes/part.vxu", 1 } ) );
    const auto place = slot->scene().parent_path();
    autosave_->adopt( std::move( *slot ) );
    EXPECT_TRUE( RecoverySlot::takeAbandoned( folder() ).empty() ) << "it belongs to this program";
    add( "work" );
    autosave_->keepNow();
    waitForScene( "work " );
    EXPECT_EQ( kept(), ( std::vector{ place } ) );
    EXPECT_TRUE( finish() );
    EXPECT_FALSE( std::filesystem::exists( place ) );
}

TEST_F( AutosaveTest, ASlotThatItIsGivenTakesThePlaceOfItsOwn )
{
    add( "work" );
    autosave_->keepNow();
    const auto own = waitForWork();
    auto slot = RecoverySlot::create( folder() );
    ASSERT_TRUE( slot );
    const auto place = slot->scene().parent_path();
    autosave_->adopt( std::move( *slot ) );
    waitUntil( [&] { return !std::filesystem::exists( own ); } );
    autosave_->keepNow();
    EXPECT_EQ( waitForWork(), place );
}

TEST_F( AutosaveTest, FollowsTheHistoryThatTakesThePlace )
{
    autosave_->setTimes( { .interval = 24h, .longWork = 0ms } );
    const auto former = viewer().getHistoryStore();
    viewer().setHistoryStore( std::make_shared<HistoryStore>() );
    add( "work" );
    autosave_->workEnded( 1s );
    waitForScene( "work " );
    former->markSaved();
    EXPECT_FALSE( kept().empty() ) << "the former one says nothing any more";
    viewer().setHistoryStore( nullptr );
}

TEST_F( AutosaveTest, SaysWhyNothingCanBeKept )
{
    scratch_.write( "file", "" );
    Autosave other( viewer(), scratch_.path() / "file/recovery" );
    add( "work" );
    other.keepNow();
    waitUntil( [&] { return log_.contains( "warning: Unsaved work cannot be kept in" ); } );
    EXPECT_TRUE( log_.contains( "file/recovery\"" ) ) << log_.text();
    EXPECT_TRUE( other.finish( std::chrono::seconds( Testing::Patience::cSeconds ) ) );
}
