#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <vector>

namespace VX::Backend
{

/// How often something took how long, by classes of duration. Any thread; nobody waits.
class Histogram
{
public:
    /// Upper bounds of the classes in seconds, in rising order; what is longer is counted beside them.
    explicit Histogram( std::vector<double> bounds );

    void add( std::chrono::nanoseconds duration );

    struct Counts
    {
        /// Of each class, without those below it; one more than there are bounds.
        std::vector<uint64_t> each;
        double seconds = 0; ///< of all together
    };
    [[nodiscard]] Counts counts() const;
    [[nodiscard]] const std::vector<double>& bounds() const { return bounds_; }

private:
    std::vector<double> bounds_;
    std::vector<std::atomic<uint64_t>> each_;
    std::atomic<uint64_t> nanoseconds_{ 0 };
};

/// Adds the time of its own life.
class Timed
{
public:
    explicit Timed( Histogram& histogram )
        : histogram_( histogram )
    {
    }
    ~Timed() { histogram_.add( std::chrono::steady_clock::now() - begin_ ); }
    Timed( const Timed& ) = delete;
    Timed& operator=( const Timed& ) = delete;

private:
    Histogram& histogram_;
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

} // namespace VX::Backend
