#include "statistics/ByteBudget.h"

namespace VX::Backend
{

ByteBudget::ByteBudget( uint64_t most, std::chrono::seconds span, Clock clock )
    : most_( most )
    , span_( span )
    , clock_( std::move( clock ) )
{
}

bool ByteBudget::take( const std::string& key, uint64_t bytes )
{
    const auto now = clock_();
    forgetOld_( now );
    auto& span = spans_[key];
    if ( now >= span.end )
        span = { now + span_, 0 };
    if ( bytes > most_ - span.bytes )
        return false;
    span.bytes += bytes;
    return true;
}

void ByteBudget::forgetOld_( std::chrono::steady_clock::time_point now )
{
    if ( now < nextSweep_ )
        return;
    nextSweep_ = now + span_;
    std::erase_if( spans_, [&]( const auto& entry ) { return now >= entry.second.end; } );
}

} // namespace VX::Backend
