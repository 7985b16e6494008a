#include <VXViewer/loop/LifeToken.h>
#include <VXViewer/loop/Wake.h>

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

using namespace VX;

namespace
{

/// Notes what it is asked for.
class Loop final : public LoopToWake
{
public:
    Loop() { setLoopToWake( this ); }
    ~Loop() { setLoopToWake( nullptr ); }
    Loop( const Loop& ) = delete;
    Loop& operator=( const Loop& ) = delete;

    void postEmptyEvent() override { asked.emplace_back( "wake" ); }
    void incrementForceRedrawFrames( int frames, bool swapOnLastOnly ) override
    {
        asked.push_back( std::to_string( frames ) + ( swapOnLastOnly ? " hidden" : " frames" ) );
    }
    void requestFrameIn( double seconds ) override { asked.push_back( "in " + std::to_string( int( seconds * 10 ) ) ); }

    std::vector<std::string> asked;
};

} // namespace

TEST( Wake, ReachesTheLoopThatIsPluggedIn )
{
    Loop loop;
    wake();
    redraw();
    redraw( 3 );
    redrawIn( 0.5 );
    EXPECT_EQ( loop.asked, ( std::vector<std::string>{ "wake", "2 frames", "3 frames", "in 5" } ) );
}

TEST( Wake, DoesNothingWithoutALoop )
{
    std::vector<std::string> asked;
    {
        Loop loop;
        redraw();
        asked = loop.asked;
    }
    EXPECT_EQ( asked.size(), 1u );
    wake();
    redraw();
    redrawIn( 1 );
}

TEST( LifeToken, IsWatchedUntilItsObjectGoes )
{
    std::optional<LifeToken> life( std::in_place );
    const auto watch = life->watch();
    EXPECT_FALSE( watch.expired() );
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): the copy is what is asked about
    const auto copyOfWatch = watch;
    life.reset();
    EXPECT_TRUE( watch.expired() );
    EXPECT_TRUE( copyOfWatch.expired() );
}

TEST( LifeToken, OfACopyIsItsOwn )
{
    std::optional<LifeToken> life( std::in_place );
    LifeToken copy = *life, assigned;
    const auto former = assigned.watch();
    assigned = *life;
    const auto first = life->watch(), second = copy.watch();
    life.reset();
    EXPECT_TRUE( first.expired() );
    EXPECT_FALSE( second.expired() );
    EXPECT_FALSE( former.expired() ) << "what was assigned to lives on";
}
