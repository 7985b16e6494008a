#include "work/Repeating.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

using namespace VX::Backend;

TEST( Repeating, WorksAtOnceAndAgainUntilItEnds )
{
    std::atomic<int> calls{ 0 };
    std::promise<void> thrice;
    {
        const Repeating work( std::chrono::milliseconds( 1 ),
            [&]
            {
                if ( ++calls == 3 )
                    thrice.set_value();
            } );
        thrice.get_future().wait();
    }
    const int seen = calls;
    EXPECT_GE( seen, 3 );
    EXPECT_EQ( calls, seen ) << "nothing is done after the end";
}

TEST( Repeating, EndsInTheMiddleOfALongPause )
{
    std::promise<void> once;
    const Repeating work( std::chrono::hours( 1 ), [&] { once.set_value(); } );
    once.get_future().wait();
}
