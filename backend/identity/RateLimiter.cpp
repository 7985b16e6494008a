#include "identity/RateLimiter.h"

namespace VX::Backend
{

RateLimiter::RateLimiter( int most, std::chrono::seconds span, Clock clock )
    : most_( most )
    , span_( span )
    , clock_( std::move( clock ) )
{
}

bool RateLimiter::allow( const std::string& key )
{
    if ( key.empty() )
        return true;
    const std::lock_guard lock( mutex_ );
    const auto now = clock_();
    forgetOld_( now );
    auto& span = spans_[key];
    // The last is of a clock that was set back.
    if ( span.calls == 0 || now >= span.end || span.end > now + span_ )
        span = { now + span_, 0 };
    if ( span.calls >= most_ )
        return false;
    ++span.calls;
    return true;
}

void RateLimiter::forgetOld_( std::chrono::sys_seconds now )
{
    if ( now < nextSweep_ && nextSweep_ <= now + span_ )
        return;
    nextSweep_ = now + span_;
    std::erase_if( spans_, [&]( const auto& entry ) { return now >= entry.second.end; } );
}

} // namespace VX::Backend
