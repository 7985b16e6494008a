#pragma once

#include <chrono>
#include <stdexcept>

namespace VX::Testing
{

/// How long a test waits for what it expects. A wait without end would hide which expectation did not come true.
class Patience
{
public:
    static constexpr int cSeconds = 120;

    /// Ends the test by an exception once the time is over.
    void check( const char* complaint = "what the test waits for did not come" ) const
    {
        if ( std::chrono::steady_clock::now() > end_ )
            throw std::runtime_error( complaint );
    }

private:
    std::chrono::steady_clock::time_point end_ = std::chrono::steady_clock::now() + std::chrono::seconds( cSeconds );
};

} // namespace VX::Testing
