#include "support/ScratchFolder.h"

#include <VXViewer/scene/RecoverySlot.h>

#include <gtest/gtest.h>

#include <chrono>

using namespace VX;

namespace
{

class RecoveryDamage : public testing::Test
{
protected:
    [[nodiscard]] std::filesystem::path folder() const { return scratch_.path() / "recovery"; }
    /// What a program has left, with what stands in its "info.json".
    void leave( const std::string& info ) const
    {
        auto slot = RecoverySlot::create( folder() );
        ASSERT_TRUE( slot );
        ASSERT_TRUE( slot->writeScene( std::as_bytes( std::span( std::string_view( "work" ) ) ) ) );
        const auto relative = std::filesystem::relative( slot->scene().parent_path(), scratch_.path() );
        scratch_.write( ( relative / "info.json" ).string(), info );
    }
    /// Takes the only slot that is left.
    [[nodiscard]] RecoveryInfo take() const
    {
        const auto found = RecoverySlot::takeAbandoned( folder() );
        EXPECT_EQ( found.size(), 1u );
        return found.empty() ? RecoveryInfo{ "none", -1 } : found.front().info();
    }
    [[nodiscard]] static int64_t now()
    {
        return std::chrono::duration_cast<std::chrono::seconds>( std::chrono::system_clock::now().time_since_epoch() )
            .count();
    }

    const Testing::ScratchFolder scratch_;
};

} // namespace

TEST_F( RecoveryDamage, WhatIsToldBesideTheWorkMayBeOfAnyKindAndTheWorkIsOffered )
{
    for ( const char* damage : { "", "{", "[]", "7", "null", "\"text\"", "{}", "\x01", R"({"file":7,"time":"x"})",
              R"({"file":{},"time":1.5})", R"({"time":99999999999999999999})", R"({"file":null,"time":null})" } )
    {
        leave( damage );
        const auto before = now();
        auto found = RecoverySlot::takeAbandoned( folder() );
        ASSERT_EQ( found.size(), 1u ) << damage;
        EXPECT_EQ( found.front().info().file, "" ) << damage;
        EXPECT_NEAR( double( found.front().info().time ), double( before ), 60 ) << "the file's time: " << damage;
        found.front().remove();
    }
}

TEST_F( RecoveryDamage, OneHalfOfItMayBeRight )
{
    leave( R"({"file":"/scenes/part.vxu","time":[]})" );
    const auto first = take();
    EXPECT_EQ( first.file, "/scenes/part.vxu" );
    EXPECT_NEAR( double( first.time ), double( now() ), 60 );
    std::filesystem::remove_all( folder() );
    leave( R"({"file":[],"time":-5})" );
    const auto second = take();
    EXPECT_EQ( second.file, "" );
    EXPECT_EQ( second.time, -5 );
}

TEST_F( RecoveryDamage, WhereNothingWasEverKeptNothingIsMade )
{
    EXPECT_TRUE( RecoverySlot::takeAbandoned( folder() ).empty() );
    EXPECT_FALSE( std::filesystem::exists( folder() ) );
    scratch_.write( "recovery", "a file" );
    EXPECT_TRUE( RecoverySlot::takeAbandoned( folder() ).empty() );
    EXPECT_EQ( Testing::readFile( folder() ), "a file" );
}

TEST_F( RecoveryDamage, WhatIsNoSlotIsLeftAlone )
{
    leave( "{}" );
    scratch_.write( "recovery/note", "mine" );
    const auto found = RecoverySlot::takeAbandoned( folder() );
    EXPECT_EQ( found.size(), 1u );
    EXPECT_EQ( Testing::readFile( folder() / "note" ), "mine" );
}

TEST_F( RecoveryDamage, ALockThatIsALinkIsNotFollowed )
{
    std::filesystem::create_directory( folder() );
    std::filesystem::create_symlink( scratch_.path() / "elsewhere", folder() / "lock" );
    EXPECT_TRUE( RecoverySlot::takeAbandoned( folder() ).empty() );
    const auto made = RecoverySlot::create( folder() );
    ASSERT_FALSE( made );
    EXPECT_EQ( made.error(),
        "Unsaved work cannot be kept in \"" + folder().string() + "\": Too many levels of symbolic links" );
    EXPECT_FALSE( std::filesystem::exists( scratch_.path() / "elsewhere" ) );
}

TEST_F( RecoveryDamage, WhatIsToldWithoutTheWorkIsTidiedAway )
{
    leave( "{}" );
    for ( const auto& entry : std::filesystem::directory_iterator( folder() ) )
        if ( entry.is_directory() )
            std::filesystem::remove( entry.path() / "scene.vxu" );
    EXPECT_TRUE( RecoverySlot::takeAbandoned( folder() ).empty() );
    EXPECT_EQ( std::distance( std::filesystem::directory_iterator( folder() ), {} ), 1 ) << "the lock alone";
}

TEST_F( RecoveryDamage, AClearedSlotIsUsedAgain )
{
    auto slot = RecoverySlot::create( folder() );
    ASSERT_TRUE( slot );
    const auto write = [&]( std::string_view text ) { return slot->writeScene( std::as_bytes( std::span( text ) ) ); };
    ASSERT_TRUE( write( "first" ) );
    ASSERT_TRUE( slot->writeInfo( { "/a.vxu", 5 } ) );
    slot->clear();
    EXPECT_FALSE( std::filesystem::exists( slot->scene() ) );
    EXPECT_FALSE( std::filesystem::exists( slot->scene().parent_path() / "info.json" ) );
    slot->clear();
    ASSERT_TRUE( write( "second" ) );
    EXPECT_EQ( Testing::readFile( slot->scene() ), "second" );
    slot->remove();
    EXPECT_FALSE( std::filesystem::exists( slot->scene().parent_path() ) );
    const auto gone = write( "third" );
    ASSERT_FALSE( gone );
    EXPECT_NE( gone.error().find( slot->scene().string() ), std::string::npos ) << gone.error();
}
