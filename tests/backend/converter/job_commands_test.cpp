#include "support/ScratchFolder.h"
#include "support/service/OpenDatabase.h"

#include "converter/ConversionJobs.h"
#include "converter/JobCommands.h"
#include "storage/ObjectFiles.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace VX;
using namespace VX::Backend;

namespace
{

/// Commands on a folder of data that a service may use at the same time.
class JobCommands : public testing::Test
{
protected:
    using Action = JobCommand::Action;

    /// What a command prints, or that it failed and why.
    std::string answer( Action action, const std::string& id = {} )
    {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int status = runJobCommand( { { folder_.path(), {} }, action, id } );
        const auto out = testing::internal::GetCapturedStdout(), error = testing::internal::GetCapturedStderr();
        return status == 0 ? out : "failed: " + error;
    }
    [[nodiscard]] bool fails( Action action, const std::string& id, const std::string& why )
    {
        const auto said = answer( action, id );
        return said.starts_with( "failed: " ) && said.find( why ) != said.npos;
    }
    std::filesystem::path upload( const std::string& id )
    {
        const auto file = objectFile( folder_.path() / "objects", "uploads/" + id );
        std::filesystem::create_directories( file.parent_path() );
        std::ofstream( file ) << "1234567";
        return file;
    }
    std::string queued( const std::string& owner = "ann" )
    {
        const auto id = jobs_.create( "step", owner ).value()->id;
        (void)upload( id );
        EXPECT_TRUE( jobs_.queue( id ).value() );
        return id;
    }
    ConversionJob taken() { return jobs_.take().value().value(); }
    ConversionJob job( const std::string& id ) { return jobs_.find( id ).value().value(); }
    int64_t sum( const std::string& column )
    {
        return integerOf( database_->query( "SELECT sum(" + column + ") FROM conversion_owners" ).value()[0][0] );
    }

    Testing::ScratchFolder folder_;
    std::unique_ptr<Database> database_ = Testing::openDatabase( folder_.path() / "orvanta.db" );
    ConversionJobs jobs_{
        *database_, [] { return std::chrono::floor<std::chrono::seconds>( std::chrono::system_clock::now() ); } };
};

constexpr const char* cCanceled = "The operator of the conversion service has stopped this conversion";

} // namespace

TEST_F( JobCommands, AListNamesAllOfThem )
{
    const auto waiting = queued( "ann" ), other = queued( "bob\x1b[2J" );
    const auto list = answer( Action::List );
    EXPECT_NE( list.find( waiting + " queued   ann " ), std::string::npos ) << list;
    EXPECT_NE( list.find( other + " queued   bob" ), std::string::npos ) << list;
    EXPECT_NE( list.find( " 7   0\n" ), std::string::npos ) << "bytes and attempts: " << list;
    EXPECT_EQ( list.find( '\x1b' ), std::string::npos ) << "and steers no terminal";
}

TEST_F( JobCommands, OneIsShownWithItsError )
{
    const auto id = queued();
    EXPECT_TRUE( jobs_.fail( taken(), "too slow" ).value() );
    const auto shown = answer( Action::Show, id );
    for ( const char* line : { "state     failed\n", "owner     ann\n", "upload    there\n", "attempts  1\n",
              "error     too slow\n", "bytes     7\n" } )
        EXPECT_NE( shown.find( line ), std::string::npos ) << shown;
    EXPECT_TRUE( fails( Action::Show, "nobody", "There is no conversion \"nobody\"" ) );
}

TEST_F( JobCommands, AFailedOneIsQueuedAgainWithAnotherAttempt )
{
    const auto id = queued();
    EXPECT_TRUE( fails( Action::Retry, id, "it is queued" ) );
    const auto first = taken();
    EXPECT_TRUE( fails( Action::Retry, id, "it is running" ) );
    EXPECT_TRUE( jobs_.fail( first, "too slow" ).value() );
    EXPECT_EQ( sum( "active" ), 0 );
    EXPECT_TRUE( answer( Action::Retry, id ).starts_with( "It is tried again" ) );
    EXPECT_EQ( sum( "active" ), 1 );
    EXPECT_EQ( sum( "bytes" ), 7 );
    const auto second = taken();
    EXPECT_EQ( second.id, id );
    EXPECT_EQ( second.attempt, 2 );
    EXPECT_FALSE( jobs_.finish( first ).value() ) << "the one before changes nothing any more";
    EXPECT_TRUE( jobs_.finish( second ).value() );
    EXPECT_TRUE( fails( Action::Retry, id, "it is finished" ) );
}

TEST_F( JobCommands, WithoutItsUploadNoneIsTriedAgain )
{
    const auto id = queued();
    EXPECT_TRUE( jobs_.fail( taken(), "too slow" ).value() );
    std::filesystem::remove( upload( id ) );
    EXPECT_TRUE( fails( Action::Retry, id, "Its upload is gone" ) );
    EXPECT_EQ( job( id ).state, JobState::Failed );
    EXPECT_EQ( job( id ).error, "too slow" );
}

TEST_F( JobCommands, WhatWaitsOrRunsIsCanceledAndItsClientIsToldSo )
{
    const auto running = queued();
    const auto attempt = taken();
    const auto waiting = queued();
    for ( const auto& id : { waiting, running } )
    {
        EXPECT_TRUE( answer( Action::Cancel, id ).starts_with( "It is canceled" ) );
        EXPECT_EQ( job( id ).state, JobState::Failed );
        EXPECT_EQ( job( id ).error, cCanceled );
        EXPECT_TRUE( fails( Action::Cancel, id, "it is failed" ) );
    }
    EXPECT_FALSE( jobs_.take().value() );
    EXPECT_FALSE( jobs_.finish( attempt ).value() ) << "its attempt has lost it";
    EXPECT_EQ( jobs_.lost( { attempt } ).value().size(), 1u );
    EXPECT_EQ( job( running ).error, cCanceled );
    EXPECT_EQ( sum( "active" ), 0 );
    EXPECT_TRUE( fails( Action::Cancel, jobs_.create( "step", "ann" ).value()->id, "it is created" ) );
}

TEST_F( JobCommands, AFolderWithoutAServiceIsRefused )
{
    const Testing::ScratchFolder empty;
    EXPECT_NE( runJobCommand( { { empty.path(), {} }, Action::List, {} } ), 0 );
    EXPECT_TRUE( std::filesystem::is_empty( empty.path() ) );
}
