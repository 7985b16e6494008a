#pragma once

#include <algorithm>
#include <cstdint>
#include <mutex>

namespace VX::Backend
{

/// How many bytes of bodies all connections together have in memory. Any thread.
class BodyRoom
{
public:
    /// What every body may have: as many of them as there are connections fit into memory. So those who send large ones
    /// take the room from each other, and not from the calls that everybody needs.
    static constexpr uint64_t cFree = 64 * 1024;

    explicit BodyRoom( uint64_t most )
        : most_( most )
    {
    }

    /// That of one connection, which is given back with it. One thread at a time.
    class Share
    {
    public:
        explicit Share( BodyRoom& room )
            : room_( room )
        {
        }
        ~Share() { (void)hold( 0 ); }
        Share( const Share& ) = delete;
        Share& operator=( const Share& ) = delete;

        /// Has so many bytes in all from now on; false, and it stays as it was, where there is no room.
        [[nodiscard]] bool hold( uint64_t bytes )
        {
            const uint64_t counted = bytes - std::min( bytes, cFree );
            if ( counted != counted_ && !room_.exchange_( counted_, counted ) )
                return false;
            counted_ = counted;
            return true;
        }

    private:
        BodyRoom& room_;
        uint64_t counted_ = 0;
    };

private:
    bool exchange_( uint64_t from, uint64_t to )
    {
        const std::lock_guard lock( mutex_ );
        if ( to > from && to - from > most_ - std::min( most_, held_ ) )
            return false;
        held_ += to;
        held_ -= from;
        return true;
    }

    uint64_t most_;
    std::mutex mutex_;
    uint64_t held_ = 0;
};

} // namespace VX::Backend
