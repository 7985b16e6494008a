#pragma once

#include "metrics/Histogram.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>

namespace VX::Backend
{

/// Answers that were given, by service and class of status, and how long requests took. Any thread.
class RequestMeasures
{
public:
    /// An answer was given.
    void add( const std::string& service, int status );
    /// It has been sent, or the client had gone before, which is the status 0.
    void addDuration(
        const std::string& service, const std::string& method, int status, std::chrono::nanoseconds duration );

    [[nodiscard]] std::map<std::pair<std::string, int>, uint64_t> all() const;

    /// Service, class of the method ("read", "write", "other") and of the status ("2xx"; "gone").
    using Kind = std::tuple<std::string, std::string, std::string>;
    /// The histograms live as long as this object.
    [[nodiscard]] std::map<Kind, const Histogram*> durations() const;

private:
    mutable std::mutex mutex_;
    std::map<std::pair<std::string, int>, uint64_t> counts_;
    std::map<Kind, std::unique_ptr<Histogram>> durations_;
};

} // namespace VX::Backend
