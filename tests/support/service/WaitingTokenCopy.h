#pragma once

#include <VXOrvanta/account/AccountLock.h>

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

namespace VX::Testing
{

/// Another thread that copies the access token and has to wait for the account's lock.
class WaitingTokenCopy
{
public:
    ~WaitingTokenCopy()
    {
        if ( thread_.joinable() )
            thread_.join();
    }
    /// Begins the copy where the lock is held, and gives it time to be wrong; `where` is told with a failure.
    void begin( const std::string& where )
    {
        thread_ = std::thread(
            [this]
            {
                copy_ = copyOfAccessToken();
                copied_ = true;
            } );
        for ( int i = 0; i < 20'000; ++i )
            std::this_thread::yield();
        EXPECT_FALSE( copied_ ) << where;
    }
    [[nodiscard]] bool hasBegun() const { return thread_.joinable(); }
    /// What was copied in the end; "not copied" where it was never begun.
    [[nodiscard]] std::string result()
    {
        if ( thread_.joinable() )
            thread_.join();
        return copy_;
    }

private:
    std::string copy_ = "not copied";
    std::atomic<bool> copied_ = false;
    std::thread thread_;
};

} // namespace VX::Testing
