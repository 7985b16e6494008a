#include "clock/LeapWatch.h"

#include <gtest/gtest.h>

using namespace VX::Backend;
using namespace std::chrono_literals;

namespace
{

class LeapWatches : public testing::Test
{
protected:
    void pass( std::chrono::seconds time, std::chrono::seconds leap = 0s )
    {
        steady_ += time;
        wall_ += time + leap;
        watch_.look();
    }

    std::chrono::sys_seconds wall_{ 1'000'000s };
    std::chrono::steady_clock::time_point steady_{ 5s };
    LeapWatch watch_{ [this] { return LeapWatch::Moment{ wall_, steady_ }; } };
};

} // namespace

TEST_F( LeapWatches, TimeThatPassesIsNoLeap )
{
    pass( 0s );
    for ( int i = 0; i < 100; ++i )
        pass( 1h, 30s );
    EXPECT_EQ( watch_.excess( 1h ), 0s );
}

TEST_F( LeapWatches, ALeapCountsUntilAllOfBeforeIsOld )
{
    pass( 0s );
    pass( 60s, 24h );
    EXPECT_EQ( watch_.excess( 1h ), 24h );
    pass( 1h );
    EXPECT_EQ( watch_.excess( 1h ), 24h );
    pass( 1s );
    EXPECT_EQ( watch_.excess( 1h ), 0s );
    EXPECT_EQ( watch_.excess( 2h ), 24h );
}

TEST_F( LeapWatches, LeapsAddUp )
{
    pass( 0s );
    pass( 60s, 24h );
    pass( 60s, 2h );
    EXPECT_EQ( watch_.excess( 1h ), 26h );
    pass( 60s, -24h );
    EXPECT_EQ( watch_.excess( 1h ), 26h ) << "what is set back makes nothing older";
}
