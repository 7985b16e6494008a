#include <VXViewer/core/FrameSchedule.h>

#include <gtest/gtest.h>

#include <thread>

using namespace VX;

namespace
{

constexpr double cForEver = -1, cNow = 1000;

/// Draws frames until nothing asks for one: "S" for each that is shown, "h" for one that is not.
std::string drawAll( FrameSchedule& schedule )
{
    std::string out;
    while ( schedule.takeDue( cNow ) && out.size() < 20 )
    {
        schedule.beginFrame();
        out += schedule.isFrameShown() ? "S" : "h";
    }
    return out;
}

} // namespace

TEST( FrameSchedule, SleepsForEverWhereNobodyAsks )
{
    FrameSchedule schedule;
    EXPECT_EQ( schedule.waitTime( cForEver, cNow ), cForEver );
    EXPECT_EQ( schedule.waitTime( 0.5, cNow ), 0.5 );
    EXPECT_FALSE( schedule.takeDue( cNow ) );
}

TEST( FrameSchedule, DrawsAsManyFramesAsAreAskedForAndShowsThemAll )
{
    FrameSchedule schedule;
    schedule.request( 3, false );
    EXPECT_TRUE( schedule.hasRequests() );
    EXPECT_EQ( schedule.waitTime( cForEver, cNow ), 0 );
    EXPECT_EQ( drawAll( schedule ), "SSS" );
    EXPECT_FALSE( schedule.hasRequests() );
    EXPECT_EQ( schedule.waitTime( cForEver, cNow ), cForEver );
}

TEST( FrameSchedule, OfTwoRequestsTheLargerCounts )
{
    FrameSchedule schedule;
    schedule.request( 3, false );
    schedule.request( 1, false );
    EXPECT_EQ( drawAll( schedule ), "SSS" );
    schedule.request( 1, false );
    schedule.request( 2, false );
    EXPECT_EQ( drawAll( schedule ), "SS" );
}

TEST( FrameSchedule, ShowsOnlyTheLastOfThoseThatSettleALayout )
{
    FrameSchedule schedule;
    schedule.request( 4, true );
    EXPECT_EQ( drawAll( schedule ), "hhhS" );
    for ( int i = 0; i < 2; ++i )
    {
        schedule.post();
        EXPECT_EQ( drawAll( schedule ), "S" ) << "the next one is shown whatever asks for it";
    }
    schedule.request( 2, false );
    EXPECT_EQ( drawAll( schedule ), "SS" ) << "the next ones are all shown";
}

TEST( FrameSchedule, WhatIsAskedForToBeSeenIsNotHidden )
{
    FrameSchedule schedule;
    schedule.request( 4, true );
    schedule.request( 1, false );
    EXPECT_EQ( drawAll( schedule ), "SSSS" );
}

TEST( FrameSchedule, AFrameMayAskForOthersToSettleWhatItHasChanged )
{
    for ( const int before : { 1, 2 } )
    {
        FrameSchedule schedule;
        schedule.request( before, false );
        schedule.beginFrame();
        schedule.request( 3, true );
        std::string seen = schedule.isFrameShown() ? "S" : "h";
        seen += drawAll( schedule );
        EXPECT_EQ( seen, "hhhS" ) << "also where it was the last one: " << before;
    }
}

TEST( FrameSchedule, AWakeIsOneFrame )
{
    FrameSchedule schedule;
    std::thread( [&] { schedule.post(); } ).join();
    schedule.post();
    EXPECT_FALSE( schedule.hasRequests() );
    EXPECT_EQ( schedule.waitTime( cForEver, cNow ), 0 );
    EXPECT_EQ( drawAll( schedule ), "S" );
    EXPECT_EQ( schedule.waitTime( 7, cNow ), 7 );
}

TEST( FrameSchedule, AWakeDuringRequestedFramesAddsNone )
{
    FrameSchedule schedule;
    schedule.request( 2, false );
    schedule.post();
    EXPECT_EQ( drawAll( schedule ), "SS" );
}

TEST( FrameSchedule, WaitsNoLongerThanUntilTheTimeThatIsAskedFor )
{
    FrameSchedule schedule;
    schedule.requestAt( cNow + 2 );
    EXPECT_EQ( schedule.waitTime( cForEver, cNow ), 2 );
    EXPECT_EQ( schedule.waitTime( 0.5, cNow ), 0.5 );
    EXPECT_EQ( schedule.waitTime( 5, cNow + 1 ), 1 );
    EXPECT_FALSE( schedule.takeDue( cNow + 1.9 ) );
    EXPECT_EQ( schedule.waitTime( cForEver, cNow + 3 ), 0 ) << "not for ever where the time has passed";
    EXPECT_TRUE( schedule.takeDue( cNow + 2 ) );
    EXPECT_FALSE( schedule.takeDue( cNow + 3 ) ) << "it counts once";
    EXPECT_EQ( schedule.waitTime( cForEver, cNow + 3 ), cForEver );
}

TEST( FrameSchedule, TheEarliestTimeCounts )
{
    FrameSchedule schedule;
    schedule.requestAt( cNow + 2 );
    schedule.requestAt( cNow + 1 );
    schedule.requestAt( cNow + 3 );
    EXPECT_EQ( schedule.waitTime( cForEver, cNow ), 1 );
    EXPECT_TRUE( schedule.takeDue( cNow + 1 ) );
    schedule.requestAt( cNow + 9 );
    EXPECT_EQ( schedule.waitTime( cForEver, cNow + 1 ), 8 ) << "a new one after it";
}

TEST( FrameSchedule, BeginsAnewWithAWindow )
{
    FrameSchedule schedule;
    schedule.request( 9, true );
    schedule.restart( 2 );
    EXPECT_EQ( drawAll( schedule ), "SS" );
}
