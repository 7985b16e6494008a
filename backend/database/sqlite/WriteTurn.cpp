#include "database/sqlite/WriteTurn.h"

namespace VX::Backend
{

bool WriteTurn::take( std::chrono::milliseconds patience )
{
    std::unique_lock lock( mutex_ );
    if ( !free_.wait_for( lock, patience, [this] { return !taken_; } ) )
        return false;
    taken_ = true;
    return true;
}

void WriteTurn::giveBack()
{
    {
        const std::lock_guard lock( mutex_ );
        taken_ = false;
    }
    free_.notify_one();
}

} // namespace VX::Backend
