#include "support/ScratchFolder.h"

#include <VXViewer/scene/RecoverySlot.h>

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

using namespace VX;

namespace
{

class Recovery : public testing::Test
{
protected:
    [[nodiscard]] std::filesystem::path folder() const { return folder_.path() / "recovery"; }

    RecoverySlot slotWith( const std::string& scene, int64_t time = 1, const std::filesystem::path& file = {} )
    {
        auto slot = RecoverySlot::create( folder() );
        EXPECT_TRUE( slot ) << slot.error();
        EXPECT_TRUE( slot->writeScene( std::as_bytes( std::span( scene ) ) ) );
        EXPECT_TRUE( slot->writeInfo( { file, time } ) );
        return std::move( *slot );
    }
    /// What a program leaves that dies: its locks are gone, its files are not.
    void leave( const std::string& scene, int64_t time = 1 ) { slotWith( scene, time ); }

    [[nodiscard]] size_t slotsLeft() const
    {
        size_t out = 0;
        for ( const auto& entry : std::filesystem::directory_iterator( folder() ) )
            out += entry.is_directory() ? 1 : 0;
        return out;
    }

    Testing::ScratchFolder folder_;
};

} // namespace

TEST_F( Recovery, WhatWasLeftIsFoundNewestFirstWithWhereItBelongs )
{
    slotWith( "old", 10, "/somewhere/b\u00e4r.vxu" );
    leave( "new", 20 );
    const auto found = RecoverySlot::takeAbandoned( folder() );
    ASSERT_EQ( found.size(), 2u );
    EXPECT_EQ( Testing::readFile( found[0].scene() ), "new" );
    EXPECT_EQ( found[0].info().file, "" );
    EXPECT_EQ( found[1].info().file, "/somewhere/b\u00e4r.vxu" );
    EXPECT_EQ( found[1].info().time, 10 );
}

TEST_F( Recovery, WhatARunningProgramKeepsIsLeftAlone )
{
    const auto running = slotWith( "mine" );
    EXPECT_TRUE( RecoverySlot::takeAbandoned( folder() ).empty() );
    EXPECT_EQ( Testing::readFile( running.scene() ), "mine" );
}

TEST_F( Recovery, IsTakenByOneProgramOnly )
{
    leave( "work" );
    const auto first = RecoverySlot::takeAbandoned( folder() );
    EXPECT_EQ( first.size(), 1u );
    EXPECT_TRUE( RecoverySlot::takeAbandoned( folder() ).empty() );
}

TEST_F( Recovery, AKilledProgramsIsFound )
{
    int ready[2];
    ASSERT_EQ( ::pipe( ready ), 0 );
    const auto child = ::fork();
    if ( child == 0 )
    {
        const auto slot = slotWith( "work" );
        (void)!::write( ready[1], "r", 1 );
        ::pause();
    }
    char byte = 0;
    ASSERT_EQ( ::read( ready[0], &byte, 1 ), 1 );
    EXPECT_TRUE( RecoverySlot::takeAbandoned( folder() ).empty() );
    ::kill( child, SIGKILL );
    ::waitpid( child, nullptr, 0 );
    ::close( ready[0] );
    ::close( ready[1] );
    EXPECT_EQ( RecoverySlot::takeAbandoned( folder() ).size(), 1u );
}

TEST_F( Recovery, OnlyTheOwnerCanReadIt )
{
    const auto slot = slotWith( "secret" );
    const auto modeOf = []( const std::filesystem::path& file )
    { return unsigned( std::filesystem::status( file ).permissions() ); };
    EXPECT_EQ( modeOf( folder() ), 0700u );
    EXPECT_EQ( modeOf( slot.scene().parent_path() ), 0700u );
    EXPECT_EQ( modeOf( slot.scene() ), 0600u );
    EXPECT_EQ( modeOf( slot.scene().parent_path() / "info.json" ), 0600u );
}

TEST_F( Recovery, WorkOfAProgramThatDiedBeforeItSaidWhereItBelongsIsFound )
{
    {
        auto slot = RecoverySlot::create( folder() );
        ASSERT_TRUE( slot );
        const std::string scene = "work";
        ASSERT_TRUE( slot->writeScene( std::as_bytes( std::span( scene ) ) ) );
    }
    const auto found = RecoverySlot::takeAbandoned( folder() );
    ASSERT_EQ( found.size(), 1u );
    EXPECT_EQ( found[0].info().file, "" );
    EXPECT_GT( found[0].info().time, 0 );
}

TEST_F( Recovery, WhatHoldsNoWorkIsTidiedAway )
{
    slotWith( "dropped" ).clear();
    EXPECT_EQ( slotsLeft(), 1u );
    EXPECT_TRUE( RecoverySlot::takeAbandoned( folder() ).empty() );
    EXPECT_EQ( slotsLeft(), 0u );
}

TEST_F( Recovery, OfTooMuchTheOldestGoes )
{
    leave( std::string( 600, 'a' ), 1 );
    leave( std::string( 600, 'b' ), 3 );
    leave( std::string( 300, 'c' ), 2 );
    const auto found = RecoverySlot::takeAbandoned( folder(), 1000 );
    ASSERT_EQ( found.size(), 2u );
    EXPECT_EQ( found[0].info().time, 3 );
    EXPECT_EQ( found[1].info().time, 2 );
    EXPECT_EQ( slotsLeft(), 2u );
}

TEST_F( Recovery, ALinkIsNotFollowed )
{
    leave( "work" );
    const auto elsewhere = folder_.path() / "elsewhere";
    std::filesystem::create_directory( elsewhere );
    folder_.write( "elsewhere/keep", "precious" );
    std::filesystem::create_directory_symlink( elsewhere, folder() / "work-linked" );
    EXPECT_EQ( RecoverySlot::takeAbandoned( folder() ).size(), 1u );
    EXPECT_EQ( Testing::readFile( elsewhere / "keep" ), "precious" );
}

TEST_F( Recovery, AFolderThatCannotBeMadeIsToldByItsName )
{
    folder_.write( "file", "" );
    const auto slot = RecoverySlot::create( folder_.path() / "file/recovery" );
    ASSERT_FALSE( slot );
    EXPECT_NE( slot.error().find( "file/recovery" ), std::string::npos ) << slot.error();
}
