#pragma once

#include "database/Database.h"
#include "http/HttpService.h"

#include <atomic>
#include <chrono>
#include <map>
#include <mutex>

namespace VX::Backend
{

/// Answers that were given, by service and class of status. Any thread.
class RequestCounts
{
public:
    void add( const std::string& service, int status );
    [[nodiscard]] std::map<std::pair<std::string, int>, uint64_t> all() const;

private:
    mutable std::mutex mutex_;
    std::map<std::pair<std::string, int>, uint64_t> counts_;
};

/// For whoever runs the service: "/healthz" says whether it can do its work, "/metrics" counts what it does, in the
/// text format of Prometheus (https://prometheus.io/docs/instrumenting/exposition_formats).
class MonitorApi final : public HttpService
{
public:
    MonitorApi( Database& database, Database& statistics, const RequestCounts& counts );

    [[nodiscard]] static bool serves( const std::string& path ) { return path == "/healthz" || path == "/metrics"; }
    [[nodiscard]] BodyPlan planBody( const HttpRequest& head ) override;
    void handle( HttpRequest request, Respond respond ) override;

    /// Says from now on that this process stops: no more work should be sent to it. Any thread.
    void drain() { draining_ = true; }

private:
    [[nodiscard]] HttpResponse health_();
    [[nodiscard]] HttpResponse metrics_();
    /// Whether the database took a row not longer than a second ago.
    [[nodiscard]] bool canWrite_();

    Database& database_;
    Database& statistics_;
    const RequestCounts& counts_;
    std::mutex mutex_;
    std::chrono::steady_clock::time_point nextCheck_;
    bool couldWrite_ = false;
    std::atomic<bool> draining_{ false };
    std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
};

} // namespace VX::Backend
