#pragma once

#include <algorithm>
#include <cstddef>
#include <thread>
#include <vector>

namespace VX
{

/// How many threads are worth starting for this many items, one for every `least` of them and at most one per core.
[[nodiscard]] inline size_t threadsFor( size_t items, size_t least )
{
    const size_t cores = std::max( std::thread::hardware_concurrency(), 1u );
    return std::clamp<size_t>( items / std::max<size_t>( least, 1 ), 1, cores );
}

/// Cuts 0..items into as many pieces as there shall be threads and calls `work( begin, end, piece )` for all of them at
/// once, the first on this thread. Returns when all are done. `work` must not throw.
template <typename Work>
void forPieces( size_t items, size_t threads, const Work& work )
{
    const auto border = [&]( size_t piece ) { return items * piece / threads; };
    std::vector<std::jthread> others;
    for ( size_t i = 1; i < threads; ++i )
        others.emplace_back( [&, i] { work( border( i ), border( i + 1 ), i ); } );
    work( size_t( 0 ), border( 1 ), size_t( 0 ) );
}

} // namespace VX
