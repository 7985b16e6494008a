#include <VXOrvanta/deferred/StateMachineExecutor.h>

#include <gtest/gtest.h>

#include <future>
#include <thread>
#include <type_traits>

namespace VX
{

/// Looks into the executor, which has no operation to list its machines.
struct StateMachineExecutorAccess
{
    static std::size_t count()
    {
        auto& self = StateMachineExecutor::instance_();
        const std::lock_guard lock( self.mutex_ );
        return self.machines_.size();
    }
    static std::size_t nextId()
    {
        auto& self = StateMachineExecutor::instance_();
        const std::lock_guard lock( self.mutex_ );
        return self.nextId_;
    }
    static bool holds( std::size_t id )
    {
        auto& self = StateMachineExecutor::instance_();
        const std::lock_guard lock( self.mutex_ );
        return self.machines_.contains( id );
    }
    static bool isFirstIdZero() { return StateMachineExecutor().nextId_ == 0; }
    /// What continues a machine that has been added.
    static ResumableStateMachine::Continuation continuation( const ResumableStateMachine& machine )
    {
        return machine.continuation_;
    }
    static void remove( std::size_t id ) { StateMachineExecutor::removeStateMachine_( id ); }
};

} // namespace VX

using namespace VX;
using Access = StateMachineExecutorAccess;
using Steps = std::unordered_map<int, ResumableStateMachine::Step>;

static_assert( !std::is_default_constructible_v<StateMachineExecutor>, "there is one" );

TEST( StateMachine, InitialEqualToFinalRunsNoStep )
{
    const auto before = Access::count();
    bool ran = false;
    StateMachineExecutor::addStateMachine(
        std::make_shared<RegularStateMachine>( std::unordered_map<int, std::function<int()>>{ { 5,
                                                   [&]
                                                   {
                                                       ran = true;
                                                       return 5;
                                                   } } },
            5, 5 ) );
    EXPECT_FALSE( ran );
    EXPECT_EQ( Access::count(), before );
}

TEST( StateMachine, RegularOneRunsToItsEndAndIsDestroyed )
{
    const auto before = Access::count();
    std::vector<int> seen;
    std::weak_ptr<StateMachine> weak;
    {
        auto machine = std::make_shared<RegularStateMachine>(
            std::unordered_map<int, std::function<int()>>{ { 0,
                                                               [&]
                                                               {
                                                                   seen.push_back( 0 );
                                                                   return 1;
                                                               } },
                { 1,
                    [&]
                    {
                        seen.push_back( 1 );
                        return 2;
                    } } },
            0, 2 );
        weak = machine;
        StateMachineExecutor::addStateMachine( machine );
    }
    EXPECT_EQ( seen, ( std::vector<int>{ 0, 1 } ) );
    EXPECT_EQ( Access::count(), before );
    EXPECT_TRUE( weak.expired() );
}

TEST( StateMachine, ResumableOneWaitsForItsContinuation )
{
    const auto id = Access::nextId();
    std::function<void( int )> resume;
    std::vector<int> seen;
    auto machine = std::make_shared<ResumableStateMachine>( Steps{ { 0,
                                                                       [&]( const auto& continuation )
                                                                       {
                                                                           seen.push_back( 0 );
                                                                           resume = continuation;
                                                                           return 7;
                                                                       } },
                                                                { 1,
                                                                    [&]( const auto& )
                                                                    {
                                                                        seen.push_back( 1 );
                                                                        return 7;
                                                                    } } },
        0, 7, 8 );
    StateMachineExecutor::addStateMachine( machine );
    EXPECT_TRUE( Access::holds( id ) );
    resume( 1 );
    EXPECT_EQ( seen, ( std::vector<int>{ 0, 1 } ) );
    EXPECT_TRUE( Access::holds( id ) );
    resume( 8 );
    EXPECT_FALSE( Access::holds( id ) );
    EXPECT_EQ( seen.size(), 2u );
}

TEST( StateMachine, FinalStateIsTheThirdNumberNeverTheWaitingOne )
{
    const ResumableStateMachine machine( {}, 1, 2, 3 );
    EXPECT_EQ( machine.initialState(), 1 );
    EXPECT_EQ( machine.finalState(), 3 );
}

TEST( StateMachine, InitialEqualToWaitingDoesNothingUntilResumed )
{
    const auto id = Access::nextId();
    int steps = 0;
    const auto step = [&]( const auto& )
    {
        ++steps;
        return 8;
    };
    auto machine = std::make_shared<ResumableStateMachine>( Steps{ { 7, step }, { 1, step } }, 7, 7, 8 );
    StateMachineExecutor::addStateMachine( machine );
    EXPECT_EQ( steps, 0 );
    EXPECT_TRUE( Access::holds( id ) );
    const auto resume = Access::continuation( *machine );
    resume( 7 );
    EXPECT_EQ( steps, 0 ) << "it waits again";
    EXPECT_TRUE( Access::holds( id ) );
    resume( 1 );
    EXPECT_EQ( steps, 1 );
    EXPECT_FALSE( Access::holds( id ) );
}

TEST( StateMachine, AFinishedResumableOneStaysAliveByItsOwnContinuation )
{
    std::weak_ptr<StateMachine> weak;
    {
        auto machine =
            std::make_shared<ResumableStateMachine>( Steps{ { 0, []( const auto& ) { return 8; } } }, 0, 7, 8 );
        weak = machine;
        StateMachineExecutor::addStateMachine( machine );
    }
    EXPECT_FALSE( weak.expired() );
}

TEST( StateMachine, IdsGrowAcrossFinishedMachines )
{
    const auto first = Access::nextId();
    for ( int i = 0; i < 3; ++i )
        StateMachineExecutor::addStateMachine(
            std::make_shared<RegularStateMachine>( std::unordered_map<int, std::function<int()>>{}, 0, 0 ) );
    EXPECT_EQ( Access::nextId(), first + 3 );
}

TEST( StateMachine, RemovingAnUnknownIdDoesNothing )
{
    const auto before = Access::count();
    Access::remove( 1'000'000 );
    EXPECT_EQ( Access::count(), before );
}

TEST( StateMachine, AnExceptionLeavesTheMachineRegistered )
{
    const auto id = Access::nextId();
    auto machine = std::make_shared<RegularStateMachine>(
        std::unordered_map<int, std::function<int()>>{ { 0, []() -> int { throw std::runtime_error( "step" ); } } }, 0,
        1 );
    EXPECT_THROW( StateMachineExecutor::addStateMachine( machine ), std::runtime_error );
    EXPECT_TRUE( Access::holds( id ) );
    Access::remove( id );
}

TEST( StateMachine, AnExceptionBehindAContinuationLeavesThroughItsCaller )
{
    const auto id = Access::nextId();
    auto machine = std::make_shared<ResumableStateMachine>(
        Steps{ { 0, []( const auto& ) { return 7; } },
            { 1, []( const auto& ) -> int { throw std::runtime_error( "step" ); } } },
        0, 7, 8 );
    StateMachineExecutor::addStateMachine( machine );
    const auto resume = Access::continuation( *machine );
    EXPECT_THROW( resume( 1 ), std::runtime_error );
    EXPECT_TRUE( Access::holds( id ) );
    resume( 8 );
    EXPECT_FALSE( Access::holds( id ) );
}

TEST( StateMachine, IdsCountFromZeroAcrossFinishedMachines )
{
    EXPECT_TRUE( Access::isFirstIdZero() );
    const auto first = Access::nextId();
    const auto waiting = [] { return std::make_shared<ResumableStateMachine>( Steps{}, 7, 7, 8 ); };
    StateMachineExecutor::addStateMachine( waiting() );
    StateMachineExecutor::addStateMachine(
        std::make_shared<RegularStateMachine>( std::unordered_map<int, std::function<int()>>{}, 5, 5 ) );
    StateMachineExecutor::addStateMachine( waiting() );
    EXPECT_TRUE( Access::holds( first ) );
    EXPECT_FALSE( Access::holds( first + 1 ) ) << "it has finished";
    EXPECT_TRUE( Access::holds( first + 2 ) );
    EXPECT_EQ( Access::nextId(), first + 3 );
    Access::remove( first );
    Access::remove( first + 1 );
    Access::remove( first + 2 );
}

namespace
{

/// A host's own machine, which finds out on its way where it ends.
class MovingEnd final : public StateMachine
{
public:
    [[nodiscard]] int initialState() const override { return 0; }
    [[nodiscard]] int finalState() const override { return final_; }
    [[nodiscard]] int toState( int state ) const override
    {
        if ( state == 2 )
            final_ = 4;
        ++steps;
        return state + 1;
    }
    mutable int steps = 0;

private:
    mutable int final_ = 100;
};

} // namespace

TEST( StateMachine, FinalStateIsAskedForAfterEveryStep )
{
    const auto id = Access::nextId();
    const auto machine = std::make_shared<MovingEnd>();
    StateMachineExecutor::addStateMachine( machine );
    EXPECT_EQ( machine->steps, 4 );
    EXPECT_FALSE( Access::holds( id ) );
}

TEST( StateMachine, AStepMayAddAnotherMachine )
{
    bool inner = false;
    StateMachineExecutor::addStateMachine( std::make_shared<RegularStateMachine>(
        std::unordered_map<int, std::function<int()>>{ { 0,
            [&]
            {
                StateMachineExecutor::addStateMachine(
                    std::make_shared<RegularStateMachine>( std::unordered_map<int, std::function<int()>>{ { 0,
                                                               [&]
                                                               {
                                                                   inner = true;
                                                                   return 1;
                                                               } } },
                        0, 1 ) );
                return 1;
            } } },
        0, 1 ) );
    EXPECT_TRUE( inner );
}

TEST( StateMachine, AStepMayLetGoOfTheReferenceThatWasGiven )
{
    std::shared_ptr<StateMachine> held;
    std::vector<int> seen;
    const auto step = [&]( int state )
    {
        return [&, state]
        {
            held.reset();
            seen.push_back( state );
            return state + 1;
        };
    };
    held = std::make_shared<RegularStateMachine>(
        std::unordered_map<int, std::function<int()>>{ { 0, step( 0 ) }, { 1, step( 1 ) } }, 0, 2 );
    const std::weak_ptr<StateMachine> weak = held;
    StateMachineExecutor::addStateMachine( held );
    EXPECT_EQ( seen, ( std::vector<int>{ 0, 1 } ) );
    EXPECT_TRUE( weak.expired() );
}

TEST( StateMachine, ManyThreadsMayAddAndResume )
{
    const auto before = Access::count();
    std::atomic<int> finished{ 0 };
    std::vector<std::thread> threads;
    for ( int t = 0; t < 4; ++t )
        threads.emplace_back(
            [&]
            {
                for ( int i = 0; i < 200; ++i )
                {
                    std::promise<std::function<void( int )>> waiting;
                    auto machine =
                        std::make_shared<ResumableStateMachine>( Steps{ { 0,
                                                                            [&]( const auto& continuation )
                                                                            {
                                                                                waiting.set_value( continuation );
                                                                                return 7;
                                                                            } },
                                                                     { 1,
                                                                         [&]( const auto& )
                                                                         {
                                                                             ++finished;
                                                                             return 8;
                                                                         } } },
                            0, 7, 8 );
                    StateMachineExecutor::addStateMachine( machine );
                    auto resume = waiting.get_future().get();
                    std::thread( [&] { resume( 1 ); } ).join();
                }
            } );
    for ( auto& thread : threads )
        thread.join();
    EXPECT_EQ( finished, 800 );
    EXPECT_EQ( Access::count(), before );
}
