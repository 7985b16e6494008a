#include "metrics/RequestMeasures.h"

namespace VX::Backend
{
namespace
{

const std::vector<double> cBounds{ .001, .0025, .005, .01, .025, .05, .1, .25, .5, 1, 2.5, 5, 10, 30, 120 };

/// A client may call its method anything.
std::string classOf( const std::string& method )
{
    if ( method == "GET" || method == "HEAD" )
        return "read";
    return method == "POST" || method == "PUT" ? "write" : "other";
}

std::string classOf( int status )
{
    return status == 0 ? "gone" : std::to_string( status / 100 ) + "xx";
}

} // namespace

void RequestMeasures::add( const std::string& service, int status )
{
    const std::lock_guard lock( mutex_ );
    ++counts_[{ service, status / 100 }];
}

void RequestMeasures::addDuration(
    const std::string& service, const std::string& method, int status, std::chrono::nanoseconds duration )
{
    const std::lock_guard lock( mutex_ );
    auto& histogram = durations_[{ service, classOf( method ), classOf( status ) }];
    if ( !histogram )
        histogram = std::make_unique<Histogram>( cBounds );
    histogram->add( duration );
}

std::map<std::pair<std::string, int>, uint64_t> RequestMeasures::all() const
{
    const std::lock_guard lock( mutex_ );
    return counts_;
}

std::map<RequestMeasures::Kind, const Histogram*> RequestMeasures::durations() const
{
    const std::lock_guard lock( mutex_ );
    std::map<Kind, const Histogram*> out;
    for ( const auto& [kind, histogram] : durations_ )
        out.emplace( kind, histogram.get() );
    return out;
}

} // namespace VX::Backend
