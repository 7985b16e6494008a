#include "support/Patience.h"
#include "support/service/StatisticsFixture.h"

#include <gtest/gtest.h>

using namespace VX;
using namespace VX::Backend;

namespace
{

class StatisticsBudgets : public StatisticsFixture
{
protected:
    /// Options with a clock that stands still until a test moves it.
    [[nodiscard]] StatsOptions options()
    {
        StatsOptions out;
        out.clock = [this] { return std::chrono::steady_clock::time_point( std::chrono::seconds( now_.load() ) ); };
        return out;
    }
    [[nodiscard]] static std::string actions( int count )
    {
        std::string out;
        for ( int i = 0; i < count; ++i )
            out += std::string( out.empty() ? "[" : "," ) + R"({"name":"x","ts":1})";
        return out + "]";
    }
};

} // namespace

TEST_F( StatisticsBudgets, AReportIsTakenWholeHoweverManyActionsItHolds )
{
    const auto session = newSession();
    EXPECT_EQ( report( session, actions( 40'000 ) ), 200 );
    EXPECT_EQ( count( "stats_actions" ), 40'000 );
}

TEST_F( StatisticsBudgets, ASessionHasOneForAMinute )
{
    auto limited = options();
    limited.bytesOfSession = 1200;
    restart( limited );
    const auto session = newSession(), other = newSession( "bob@example.org" );
    EXPECT_EQ( report( session, actions( 5 ) ), 200 );
    EXPECT_EQ( report( session, actions( 5 ) ), 200 );
    EXPECT_EQ( report( session, actions( 5 ) ), 503 );
    EXPECT_EQ( report( other, actions( 5 ), "bob@example.org" ), 200 );
    now_ += 60;
    EXPECT_EQ( report( session, actions( 5 ) ), 200 );
    EXPECT_EQ( count( "stats_actions" ), 20 );
}

TEST_F( StatisticsBudgets, AStrangerDoesNotUseUpThatOfASession )
{
    auto limited = options();
    limited.bytesOfSession = 1200;
    restart( limited );
    const auto session = newSession();
    for ( int i = 0; i < 3; ++i )
        EXPECT_NE( report( session, actions( 5 ), "eve@example.org" ), 200 );
    EXPECT_EQ( report( session, actions( 5 ) ), 200 );
}

TEST_F( StatisticsBudgets, AnAddressHasOneForAnHour )
{
    auto limited = options();
    limited.bytesOfAddress = 200;
    restart( limited );
    const auto body = reportOf( newSession(), actions( 2 ) );
    EXPECT_EQ( send( body, "1.2.3.4" ).status, 200 );
    EXPECT_EQ( send( body, "1.2.3.4" ).status, 503 );
    EXPECT_EQ( send( body, "1.2.3.5" ).status, 200 );
    now_ += 3599;
    EXPECT_EQ( send( body, "1.2.3.4" ).status, 503 );
    now_ += 1;
    EXPECT_EQ( send( body, "1.2.3.4" ).status, 200 );
    for ( int i = 0; i < 5; ++i )
        EXPECT_EQ( send( body ).status, 200 ) << "nobody's address has none";
}

TEST_F( StatisticsBudgets, AllTogetherHaveALimit )
{
    auto limited = options();
    limited.mostStored = store_.size() + 100'000;
    restart( limited );
    const auto session = newSession();
    int taken = 0;
    while ( taken < 100 && report( session, actions( 500 ) ) == 200 )
        ++taken;
    EXPECT_GT( taken, 2 );
    EXPECT_LT( taken, 20 );
    EXPECT_EQ( count( "stats_actions" ), taken * 500 );
    EXPECT_LT( store_.size(), limited.mostStored + 50'000 );
    now_ += 100;
    store_.forget( std::chrono::seconds( 50 ) );
    EXPECT_EQ( send( R"({"type":"createSession","email":"a"})" ).status, 200 ) << "there is room again";
}

TEST_F( StatisticsBudgets, WhatWaitsIsCountedInBytes )
{
    auto limited = options();
    const auto session = newSession();
    const auto body = reportOf( session, actions( 20 ) );
    limited.mostWaiting = body.size() + body.size() / 2;
    restart( limited );
    std::future<HttpResponse> first;
    {
        const Database::Transaction busy( *database_ );
        first = begin( body );
        EXPECT_EQ( send( body ).status, 503 );
    }
    EXPECT_EQ( first.get().status, 200 );
    // What was answered is counted out a moment later.
    const Testing::Patience patience;
    while ( send( body ).status != 200 )
        patience.check();
}

TEST_F( StatisticsBudgets, WhatAnEarlierReleaseKeptIsMovedOnce )
{
    auto earlier = std::move( Database::open( folder_.path() / "orvanta.db" ).value() );
    const auto makeTheirTables = [&]
    { const StatsStore made( *earlier, [] { return std::chrono::sys_seconds( std::chrono::seconds( 5 ) ); } ); };
    makeTheirTables();
    ASSERT_TRUE( executeAll( *earlier,
        { "INSERT INTO stats_sessions VALUES(7, 'code', 3, 'Debian', '1.2', '')",
            "INSERT INTO stats_actions VALUES(7, 'x', 1, 2)", "INSERT INTO stats_actions VALUES(7, 'y', 1, 2)" } ) );
    api_ = nullptr;
    ASSERT_TRUE( store_.takeOver( *earlier ) );
    EXPECT_EQ( count( "stats_sessions" ), 1 );
    EXPECT_EQ( count( "stats_actions" ), 2 );
    EXPECT_EQ( textOf( database_->query( "SELECT version FROM stats_sessions" ).value()[0][0] ), "1.2" );
    EXPECT_FALSE( earlier->query( "SELECT 1 FROM stats_actions" ) );
    ASSERT_TRUE( store_.takeOver( *earlier ) );

    // Cut off between the copy and the removal.
    makeTheirTables();
    ASSERT_TRUE( executeAll( *earlier, { "INSERT INTO stats_actions VALUES(7, 'x', 1, 2)" } ) );
    ASSERT_TRUE( store_.takeOver( *earlier ) );
    EXPECT_EQ( count( "stats_actions" ), 2 );
}
