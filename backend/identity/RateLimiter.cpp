#include "identity/RateLimiter.h"

namespace VX::Backend
{

RateLimiter::RateLimiter( int most, std::chrono::seconds span, Clock clock )
    : most_( most )
    , span_( span )
    , clock_( std::move( clock ) )
{
}

RateLimiter::Span& RateLimiter::spanOf_( const std::string& key )
{
    const auto now = clock_();
    forgetOld_( now );
    auto& span = spans_[key];
    // The second is of a clock that was set back.
    if ( span.calls == 0 || now >= span.end || span.end > now + span_ )
        span = { now + span_, 0 };
    return span;
}

bool RateLimiter::allow( const std::string& key )
{
    if ( key.empty() )
        return true;
    const std::lock_guard lock( mutex_ );
    auto& span = spanOf_( key );
    return span.calls < most_ && ++span.calls > 0;
}

void RateLimiter::forgetOld_( std::chrono::sys_seconds now )
{
    if ( now < nextSweep_ && nextSweep_ <= now + span_ )
        return;
    nextSweep_ = now + span_;
    std::erase_if( spans_, [&]( const auto& entry ) { return now >= entry.second.end; } );
}

} // namespace VX::Backend
