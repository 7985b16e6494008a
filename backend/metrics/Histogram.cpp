#include "metrics/Histogram.h"

#include <algorithm>

namespace VX::Backend
{

Histogram::Histogram( std::vector<double> bounds )
    : bounds_( std::move( bounds ) )
    , each_( bounds_.size() + 1 )
{
}

void Histogram::add( std::chrono::nanoseconds duration )
{
    const auto nanoseconds = std::max<int64_t>( duration.count(), 0 );
    const auto place = std::lower_bound( bounds_.begin(), bounds_.end(), double( nanoseconds ) / 1e9 );
    ++each_[size_t( place - bounds_.begin() )];
    nanoseconds_ += uint64_t( nanoseconds );
}

Histogram::Counts Histogram::counts() const
{
    Counts out;
    for ( const auto& count : each_ )
        out.each.push_back( count );
    out.seconds = double( nanoseconds_.load() ) / 1e9;
    return out;
}

} // namespace VX::Backend
