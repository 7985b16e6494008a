#include "storage/CutOffs.h"

#include <utility>

namespace VX::Backend
{

CutOffs::CutOffs( Tell tell )
    : tell_( std::move( tell ) )
    , telling_( std::chrono::hours( 1 ), [this] { tellAll_(); } )
{
}

CutOffs::~CutOffs()
{
    {
        const std::lock_guard lock( mutex_ );
        end_ = std::chrono::steady_clock::now() + cLast;
    }
    telling_.stop();
    tellAll_();
}

void CutOffs::add( const std::string& key, uint64_t length )
{
    if ( !tell_ )
        return;
    {
        const std::lock_guard lock( mutex_ );
        waiting_.push_back( { key, length } );
    }
    telling_.wake();
}

void CutOffs::tellAll_()
{
    while ( const auto next = next_() )
        tell_( next->key, next->length );
}

std::optional<CutOffs::CutOff> CutOffs::next_()
{
    const std::lock_guard lock( mutex_ );
    if ( waiting_.empty() || std::chrono::steady_clock::now() >= end_ )
        return {};
    auto out = std::move( waiting_.front() );
    waiting_.pop_front();
    return out;
}

} // namespace VX::Backend
