#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>

namespace VX::Backend
{

/// So many bytes for one key in a span of time, counted from the first of the span. One thread at a time.
class ByteBudget
{
public:
    /// Not the time of day, which may jump.
    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    ByteBudget( uint64_t most, std::chrono::seconds span, Clock clock );

    /// Takes the bytes from the budget of the key; false, and none are taken, when that many are not left.
    [[nodiscard]] bool take( const std::string& key, uint64_t bytes );

private:
    struct Span
    {
        std::chrono::steady_clock::time_point end;
        uint64_t bytes = 0;
    };
    void forgetOld_( std::chrono::steady_clock::time_point now );

    uint64_t most_;
    std::chrono::seconds span_;
    Clock clock_;
    std::unordered_map<std::string, Span> spans_;
    std::chrono::steady_clock::time_point nextSweep_;
};

} // namespace VX::Backend
