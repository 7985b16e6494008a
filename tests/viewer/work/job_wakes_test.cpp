#include "JobFixture.h"

#include <VXViewer/loop/Wake.h>

#include <atomic>
#include <vector>

using namespace VX;

namespace
{

using Result = tl::expected<void, std::string>;
using Testing::Door;
using JobWakes = Testing::JobFixture;

/// Counts how often it is woken.
struct CountedLoop final : LoopToWake
{
    CountedLoop() { setLoopToWake( this ); }
    ~CountedLoop() { setLoopToWake( nullptr ); }
    CountedLoop( const CountedLoop& ) = delete;
    CountedLoop& operator=( const CountedLoop& ) = delete;

    void postEmptyEvent() override { ++wakes; }
    void incrementForceRedrawFrames( int, bool ) override {}
    void requestFrameIn( double ) override {}

    std::atomic<int> wakes = 0;
};

} // namespace

TEST_F( JobWakes, TheLoopForAnotherTaskOnly )
{
    CountedLoop loop;
    Door door; // the start itself wakes, too
    std::vector<int> wakes;
    start(
        [&]( const Job& self ) -> Result
        {
            door.pass();
            for ( const char* task : { "Packing", "Packing", "Uploading" } )
            {
                const int before = loop.wakes;
                self.setTask( task );
                wakes.push_back( loop.wakes - before );
            }
            return {};
        } );
    door.waitForSomebody();
    door.open();
    turnUntilTold();
    EXPECT_EQ( wakes, ( std::vector{ 1, 0, 1 } ) );
}

TEST_F( JobWakes, TheLoopWhenItBeginsAndWhenItIsGivenUp )
{
    CountedLoop loop;
    Door door;
    const auto job = startBehind( door );
    EXPECT_EQ( loop.wakes, 1 );
    job.cancel();
    EXPECT_EQ( loop.wakes, 2 );
    job.cancel();
    EXPECT_EQ( loop.wakes, 2 ) << "it is canceled already";
    door.open();
    turnUntilTold();
}

TEST_F( JobWakes, TheLoopForItsProgressAtOnceAndThenTenTimesASecond )
{
    CountedLoop loop;
    Door door; // the start itself wakes, too
    bool atOnce = false;
    // How long after the first report one still wakes nobody, and the next one does.
    Job::Clock::duration unheard{}, heard{};
    start(
        [&]( const Job& self ) -> Result
        {
            door.pass();
            const int before = loop.wakes;
            const auto begin = Job::Clock::now();
            self.setProgress( 0 );
            atOnce = loop.wakes == before + 1;
            const auto told = Job::Clock::now();
            while ( heard.count() == 0 && unheard < cPatience )
            {
                const auto asked = Job::Clock::now();
                self.setProgress( 0.5f );
                if ( loop.wakes == before + 2 )
                    heard = Job::Clock::now() - begin;
                else
                    unheard = asked - told;
            }
            return {};
        } );
    door.waitForSomebody();
    door.open();
    turnUntilTold();
    EXPECT_TRUE( atOnce );
    EXPECT_LT( unheard, std::chrono::milliseconds( 100 ) );
    EXPECT_GE( heard, std::chrono::milliseconds( 100 ) );
}
