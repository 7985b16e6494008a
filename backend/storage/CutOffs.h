#pragma once

#include "work/Repeating.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

namespace VX::Backend
{

/// Tells of uploads that have not come, on a thread of its own: whoever finds one cut off carries connections, and must
/// not wait for what is told.
class CutOffs
{
public:
    using Tell = std::function<void( const std::string& key, uint64_t length )>;

    explicit CutOffs( Tell tell );
    /// Tells of those that are left, but begins none once that has lasted for so long: what does not hear of them has
    /// to bear that, as it has to after a crash.
    ~CutOffs();
    CutOffs( const CutOffs& ) = delete;
    CutOffs& operator=( const CutOffs& ) = delete;

    /// Any thread; waits for nothing.
    void add( const std::string& key, uint64_t length );

private:
    static constexpr std::chrono::seconds cLast{ 2 };
    struct CutOff
    {
        std::string key;
        uint64_t length = 0;
    };
    using Moment = std::chrono::steady_clock::time_point;
    void tellAll_();
    /// Nothing when all are told of, or there is no time left.
    [[nodiscard]] std::optional<CutOff> next_();

    Tell tell_;
    std::mutex mutex_;
    std::deque<CutOff> waiting_;
    Moment end_ = Moment::max();
    Repeating telling_;
};

} // namespace VX::Backend
