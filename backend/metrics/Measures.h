#pragma once

#include "metrics/Histogram.h"

namespace VX::Backend
{

/// What the parts of a process count for whoever runs it. Any thread.
struct Measures
{
    using Count = std::atomic<uint64_t>;

    /// Of sign-ins by password, from when they are asked for until they are answered.
    Histogram signIns{ { .025, .05, .1, .15, .2, .3, .5, 1, 2.5, 5, 10, 30 } };
    /// Of attempts, with fetching the upload and storing the result.
    Histogram conversions{ { .1, .25, .5, 1, 2.5, 5, 10, 30, 60, 120, 300, 600, 1800 } };
    /// Between queueing a conversion and its first attempt, in whole seconds.
    Histogram conversionWaits{ { 1, 2, 5, 10, 30, 60, 120, 300, 900, 3600 } };
    /// Of statements, with the wait for others who write.
    Histogram reads{ { .0001, .00025, .0005, .001, .0025, .005, .01, .025, .05, .1, .25, 1, 5 } };
    Histogram writes{ { .0001, .00025, .0005, .001, .0025, .005, .01, .025, .05, .1, .25, 1, 5 } };
    Count conversionsDone{ 0 }, conversionsFailed{ 0 };
    /// Jobs that went before their time, for want of room.
    Count evictions{ 0 };
    /// Lines that could not be written as fast as they came.
    Count lostLogLines{ 0 };
};

/// Those of this process: whoever counts is spread over all services, and whoever reads wants them all. Never
/// destroyed, for threads count until the end.
[[nodiscard]] Measures& measures();

} // namespace VX::Backend
