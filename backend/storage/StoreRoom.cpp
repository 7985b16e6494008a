#include "storage/StoreRoom.h"

#include <algorithm>

namespace VX::Backend
{

bool StoreRoom::fits_( uint64_t bytes ) const
{
    const auto taken = stored_ + promised_;
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

void StoreRoom::change( uint64_t from, uint64_t to )
{
    const std::lock_guard lock( mutex_ );
    stored_ += to;
    stored_ -= std::min( from, stored_ );
}

uint64_t StoreRoom::excess() const
{
    const std::lock_guard lock( mutex_ );
    return stored_ - std::min( stored_, most_ );
}

} // namespace VX::Backend
