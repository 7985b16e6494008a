#pragma once

#include "database/Database.h"
#include "http/HttpService.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>

namespace VX::Backend
{

/// "/healthz" says whether the service can do its work, "/readyz" whether work should be sent to it.
class HealthApi final : public HttpService
{
public:
    explicit HealthApi( Database& database );

    [[nodiscard]] static bool servesHealth( const std::string& path ) { return path == "/healthz"; }
    [[nodiscard]] static bool servesBoth( const std::string& path ) { return path == "/healthz" || path == "/readyz"; }
    [[nodiscard]] BodyPlan planBody( const HttpRequest& head ) override;
    void handle( HttpRequest request, Respond respond ) override;

    /// Who knows whether a conversion would find a worker; it must outlive this object. Before it is told there is
    /// none.
    void askForWorkers( std::function<bool()> hasWorker );
    /// Says from now on that this process stops: no more work should be sent to it. Any thread.
    void drain() { draining_ = true; }

private:
    /// Whether the database took a row not longer than a second ago.
    [[nodiscard]] bool canWrite_();
    [[nodiscard]] bool hasWorker_();

    Database& database_;
    std::mutex mutex_;
    std::function<bool()> workers_;
    std::chrono::steady_clock::time_point nextCheck_;
    bool couldWrite_ = false;
    std::atomic<bool> draining_{ false };
};

} // namespace VX::Backend
