#include "converter/LeaseWatch.h"

namespace VX::Backend
{

void LeaseWatch::saw( int64_t now )
{
    const std::lock_guard lock( mutex_ );
    // Whoever works looks more often than that; a clock that was turned proves nothing.
    if ( !last_ || now - *last_ > lease_ / 2 || now < *last_ )
        since_ = now;
    last_ = now;
}

void LeaseWatch::missed()
{
    const std::lock_guard lock( mutex_ );
    last_.reset();
}

bool LeaseWatch::mayReap( int64_t now ) const
{
    const std::lock_guard lock( mutex_ );
    return last_ && now - since_ > lease_;
}

} // namespace VX::Backend
