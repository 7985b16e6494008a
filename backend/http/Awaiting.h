#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <atomic>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace VX::Backend
{

/// Hands on the first answer and no other. Once given it holds nothing of the server, which whoever keeps it may
/// outlive.
template <class Answer, class Completion>
class OneAnswer
{
public:
    OneAnswer( Completion completion, boost::asio::any_io_executor executor )
        : completion_( std::move( completion ) )
        , executor_( std::move( executor ) )
    {
    }
    void give( Answer answer )
    {
        if ( given_.exchange( true ) )
            return;
        const auto executor = std::exchange( executor_, {} );
        auto completion = std::move( *completion_ );
        completion_.reset();
        boost::asio::post( executor, [completion = std::move( completion ), answer = std::move( answer )]() mutable
            { completion( std::move( answer ) ); } );
    }

private:
    std::optional<Completion> completion_;
    boost::asio::any_io_executor executor_;
    std::atomic<bool> given_ = false;
};

/// Waits for an answer that `ask` is given a way to give, on any thread.
template <class Answer, class Ask>
boost::asio::awaitable<Answer> answerOf( Ask ask )
{
    const auto executor = co_await boost::asio::this_coro::executor;
    const auto initiate = [&]( auto completion )
    {
        using One = OneAnswer<Answer, decltype( completion )>;
        auto one = std::make_shared<One>( std::move( completion ), executor );
        ask( [one]( Answer answer ) { one->give( std::move( answer ) ); } );
    };
    co_return co_await boost::asio::async_initiate<decltype( boost::asio::use_awaitable ), void( Answer )>(
        initiate, boost::asio::use_awaitable );
}

/// Waits for what may take its time, done elsewhere.
template <class Work>
boost::asio::awaitable<std::invoke_result_t<Work>> doneOn( boost::asio::any_io_executor executor, Work work )
{
    using Result = std::invoke_result_t<Work>;
    co_return co_await answerOf<Result>(
        [&]( const auto& give ) { boost::asio::post( executor, [give, work] { give( work() ); } ); } );
}

} // namespace VX::Backend
