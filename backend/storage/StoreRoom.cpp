#include "storage/StoreRoom.h"

#include <algorithm>

namespace VX::Backend
{

bool StoreRoom::fits_( uint64_t bytes ) const
{
    const auto taken = stored_.bytes + promised_;
    return taken <= most_ && bytes <= most_ - taken;
}

bool StoreRoom::reserve( const std::string& name, uint64_t bytes )
{
    const std::lock_guard lock( mutex_ );
    if ( !fits_( bytes ) )
        return false;
    promises_[name] = bytes;
    promised_ += bytes;
    return true;
}

bool StoreRoom::release( const std::string& name )
{
    const std::lock_guard lock( mutex_ );
    const auto found = promises_.find( name );
    if ( found == promises_.end() )
        return false;
    promised_ -= found->second;
    promises_.erase( found );
    return true;
}

bool StoreRoom::hasRoomFor( uint64_t bytes ) const
{
    const std::lock_guard lock( mutex_ );
    return fits_( bytes );
}

void StoreRoom::change( StoreSum from, StoreSum to )
{
    const std::lock_guard lock( mutex_ );
    exchange( stored_, from, to );
}

StoreSum StoreRoom::stored() const
{
    const std::lock_guard lock( mutex_ );
    return stored_;
}

uint64_t StoreRoom::excess() const
{
    const std::lock_guard lock( mutex_ );
    return stored_.bytes - std::min( stored_.bytes, most_ );
}

void exchange( StoreSum& sum, StoreSum from, StoreSum to )
{
    sum.bytes += to.bytes;
    sum.bytes -= std::min( from.bytes, sum.bytes );
    sum.objects += to.objects;
    sum.objects -= std::min( from.objects, sum.objects );
}

} // namespace VX::Backend
