#include <VXOrvanta/deferred/WebRequestFuture.h>
#include <VXViewer/web/ScriptedTransport.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <type_traits>

using namespace VX;

namespace
{

/// Calls back as often as it is told to, which no honest transport does.
class RepeatingTransport final : public WebTransport
{
public:
    void send( WebRequestData, Done done ) override { done_ = std::move( done ); }
    void shutdown( std::chrono::milliseconds ) override {}
    Done done_;
};

static_assert( std::is_convertible_v<WebRequest, WebRequestFuture>, "passed where a future is wanted" );

class WebRequestFutureTest : public testing::Test
{
protected:
    void SetUp() override { setWebTransport( transport_ ); }
    void TearDown() override { setWebTransport( nullptr ); }

    static void waitFor( WebRequestFuture& future, int code )
    {
        while ( !future() || ( *future() )["code"].asInt() != code )
            std::this_thread::yield();
    }

    std::shared_ptr<ScriptedTransport> transport_ = std::make_shared<ScriptedTransport>();
};

} // namespace

TEST_F( WebRequestFutureTest, SendsWhenItIsBuilt )
{
    const WebRequestFuture future( WebRequest( "https://x" ) );
    EXPECT_EQ( transport_->sent().size(), 1u );
    transport_->deliver( ScriptedTransport::response( 200, "" ) );
}

TEST_F( WebRequestFutureTest, ProbeIsEmptyBeforeTheResponse )
{
    WebRequestFuture future( WebRequest( "https://x" ) );
    EXPECT_FALSE( future() );
    transport_->deliver( ScriptedTransport::response( 200, "" ) );
}

TEST_F( WebRequestFutureTest, GivesTheResponseAnyNumberOfTimes )
{
    WebRequestFuture future( WebRequest( "https://x" ) );
    WebRequestFuture copy = future;
    transport_->deliver( ScriptedTransport::response( 200, "body" ) );
    EXPECT_EQ( future.get()["text"], "body" );
    EXPECT_EQ( future.get()["text"], "body" );
    EXPECT_EQ( ( *future() )["text"], "body" );
    EXPECT_EQ( copy.get()["text"], "body" );
}

TEST_F( WebRequestFutureTest, GetBlocksUntilTheCallbackHasRun )
{
    WebRequestFuture future( WebRequest( "https://x" ) );
    std::atomic<bool> delivered{ false };
    std::thread other(
        [&]
        {
            delivered = true;
            transport_->deliver( ScriptedTransport::response( 204, "" ) );
        } );
    EXPECT_EQ( future.get()["code"].asInt(), 204 );
    EXPECT_TRUE( delivered );
    other.join();
}

TEST_F( WebRequestFutureTest, PassesFailuresThroughUntouched )
{
    WebRequestFuture future( WebRequest( "https://x" ) );
    transport_->deliver( ScriptedTransport::response( 0, "", "no route" ) );
    EXPECT_EQ( future.get()["error"], "no route" );
}

TEST_F( WebRequestFutureTest, ALateResponseFindsNobodyAndDoesNoHarm )
{
    {
        const WebRequestFuture future( WebRequest( "https://x" ) );
    }
    EXPECT_TRUE( transport_->deliver( ScriptedTransport::response( 200, "" ) ) );
    EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 60 ) ) ) << "the callback has run";
    resumeWebRequests();
}

TEST_F( WebRequestFutureTest, ASecondResponseReplacesTheFirst )
{
    const auto repeating = std::make_shared<RepeatingTransport>();
    setWebTransport( repeating );
    WebRequestFuture future( WebRequest( "https://x" ) );
    auto again = repeating->done_;
    repeating->done_( ScriptedTransport::response( 1, "" ) );
    waitFor( future, 1 );
    again( ScriptedTransport::response( 2, "" ) );
    waitFor( future, 2 );
    EXPECT_EQ( future.get()["code"].asInt(), 2 );
}
