#pragma once

#include <cstdint>
#include <mutex>
#include <optional>

namespace VX::Backend
{

/// Says whether leases that look over may be taken for over: only by who has seen the database for a whole lease
/// without a break. While the database was away, or this process slept, nobody could extend one, and all look over
/// through nobody's fault. Any thread; times are seconds of the clock that leases go by.
class LeaseWatch
{
public:
    explicit LeaseWatch( int64_t lease )
        : lease_( lease )
    {
    }

    void saw( int64_t now );
    /// The database did not answer.
    void missed();
    /// To be asked after the look at the database that found a lease over.
    [[nodiscard]] bool mayReap( int64_t now ) const;

private:
    int64_t lease_;
    mutable std::mutex mutex_;
    std::optional<int64_t> last_;
    int64_t since_ = 0;
};

} // namespace VX::Backend
