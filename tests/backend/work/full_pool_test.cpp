#include "log/LogContext.h"
#include "work/TurnPool.h"

#include <gtest/gtest.h>

#include <future>
#include <string>

using namespace VX::Backend;

namespace
{

constexpr auto cPatience = std::chrono::minutes( 2 );

/// One thread, at work until it is let go, and one place in the queue behind it.
class FullPools : public testing::Test
{
protected:
    FullPools()
    {
        run( "held", [this] { begun_.set_value(), go_.get_future().wait(); } );
        EXPECT_EQ( begun_.get_future().wait_for( cPatience ), std::future_status::ready );
    }
    void run( const std::string& name, const std::function<void()>& work = [] {} )
    {
        const LogContext context( name );
        pool_.run( {}, { [this, name, work]
                           {
                               work();
                               note( "done " + name );
                           },
                           [this, name] { note( "refused " + name + " for " + LogContext::request() ); } } );
    }
    void note( const std::string& what )
    {
        const std::lock_guard lock( mutex_ );
        said_ += what + ". ";
    }
    std::string said()
    {
        const std::lock_guard lock( mutex_ );
        return said_;
    }

    std::mutex mutex_;
    std::string said_;
    std::promise<void> begun_, go_;
    TurnPool pool_{ 1, 1 };
};

} // namespace

TEST_F( FullPools, RefuseWhatIsTooMuch )
{
    run( "behind" );
    run( "more" );
    EXPECT_EQ( said(), "refused more for more. " );
    std::promise<void> last;
    go_.set_value();
    while ( said().find( "done behind" ) == std::string::npos )
        std::this_thread::yield();
    EXPECT_EQ( said(), "refused more for more. done held. done behind. " );
}

TEST_F( FullPools, RefuseWhatWaitsWhenTheyEnd )
{
    run( "behind" );
    pool_.refuseAll();
    EXPECT_EQ( said(), "refused behind for behind. " ) << "at once, whatever is under way";
    run( "late" );
    EXPECT_EQ( said(), "refused behind for behind. refused late for late. " );
    go_.set_value();
    pool_.stop();
    EXPECT_EQ( said(), "refused behind for behind. refused late for late. done held. " ) << "which is done";
}
