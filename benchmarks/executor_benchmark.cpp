/// The cost of one step of a state machine, beside the bare look-up and call that it cannot do without.
#include <VXOrvanta/deferred/StateMachineExecutor.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <vector>

#include <malloc.h>

namespace
{

using namespace VX;

constexpr int cSteps = 1000;

void bareLookUpAndCall( benchmark::State& state )
{
    int count = 0;
    std::unordered_map<int, std::function<int()>> table{ { 0, [&] { return ++count < cSteps ? 0 : 1; } } };
    for ( auto _ : state )
    {
        count = 0;
        for ( int s = 0; s != 1; )
            s = table.find( s )->second();
    }
    state.SetItemsProcessed( state.iterations() * cSteps );
}

void regularMachine( benchmark::State& state )
{
    int count = 0;
    const auto machine = std::make_shared<RegularStateMachine>(
        std::unordered_map<int, std::function<int()>>{ { 0, [&] { return ++count < cSteps ? 0 : 1; } } }, 0, 1 );
    for ( auto _ : state )
    {
        count = 0;
        StateMachineExecutor::addStateMachine( machine );
    }
    state.SetItemsProcessed( state.iterations() * cSteps );
}

/// 100 000 machines that wait at once and are all resumed.
void resumeMany( benchmark::State& state )
{
    constexpr int cMachines = 100'000;
    for ( auto _ : state )
    {
        state.PauseTiming();
        const auto before = mallinfo2().uordblks;
        std::vector<std::function<void( int )>> waiting;
        waiting.reserve( cMachines );
        for ( int i = 0; i < cMachines; ++i )
            StateMachineExecutor::addStateMachine( std::make_shared<ResumableStateMachine>(
                std::unordered_map<int, ResumableStateMachine::Step>{ { 0,
                                                                          [&]( const auto& resume )
                                                                          {
                                                                              waiting.push_back( resume );
                                                                              return 7;
                                                                          } },
                    { 1, []( const auto& ) { return 8; } } },
                0, 7, 8 ) );
        state.counters["MiB waiting"] = double( mallinfo2().uordblks - before ) / ( 1 << 20 );
        state.ResumeTiming();
        for ( const auto& resume : waiting )
            resume( 1 );
    }
}

BENCHMARK( bareLookUpAndCall );
BENCHMARK( regularMachine );
BENCHMARK( resumeMany )->Iterations( 3 )->Unit( benchmark::kMillisecond );

} // namespace

BENCHMARK_MAIN();
