#include "http/ConnectionTable.h"

namespace VX::Backend
{

bool ConnectionTable::add( ServedConnection& connection )
{
    const std::lock_guard lock( mutex_ );
    if ( open_.size() - cut_ >= most_ )
    {
        auto* silent = mostSilent_();
        if ( !silent )
            return false;
        silent->isCut = true;
        ++cut_;
        silent->connection->cut();
    }
    open_.insert( &connection );
    return true;
}

void ConnectionTable::remove( ServedConnection& connection )
{
    const std::lock_guard lock( mutex_ );
    open_.erase( &connection );
    cut_ -= connection.isCut ? 1 : 0;
}

size_t ConnectionTable::size() const
{
    const std::lock_guard lock( mutex_ );
    return open_.size();
}

ServedConnection* ConnectionTable::mostSilent_() const
{
    ServedConnection* out = nullptr;
    auto longest = HttpSession::Moment::max();
    for ( auto* one : open_ )
    {
        const auto since = one->isCut ? std::nullopt : one->session.silentSince();
        if ( since && *since < longest )
        {
            longest = *since;
            out = one;
        }
    }
    return out;
}

} // namespace VX::Backend
