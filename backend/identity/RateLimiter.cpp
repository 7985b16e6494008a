#include "identity/RateLimiter.h"

namespace VX::Backend
{

RateLimiter::RateLimiter( int most, std::chrono::seconds span, Clock clock )
    : most_( most )
    , span_( span )
    , clock_( std::move( clock ) )
{
}

bool RateLimiter::isSpent( const std::string& key )
{
    const std::lock_guard lock( mutex_ );
    const auto found = spans_.find( key );
    return found != spans_.end() && found->second.events >= most_ && !isOver_( found->second, clock_() );
}

void RateLimiter::count( const std::string& key )
{
    if ( key.empty() )
        return;
    const std::lock_guard lock( mutex_ );
    const auto now = clock_();
    forgetOld_( now );
    auto& span = spans_[key];
    if ( span.events == 0 || isOver_( span, now ) )
        span = { now + span_, 0 };
    ++span.events;
}

bool RateLimiter::isOver_( const Span& span, std::chrono::sys_seconds now ) const
{
    return now >= span.end || span.end > now + span_;
}

void RateLimiter::forgetOld_( std::chrono::sys_seconds now )
{
    if ( now < nextSweep_ && nextSweep_ <= now + span_ )
        return;
    nextSweep_ = now + span_;
    std::erase_if( spans_, [&]( const auto& entry ) { return now >= entry.second.end; } );
}

} // namespace VX::Backend
