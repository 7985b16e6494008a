#pragma once

#include "converter/ConversionJobs.h"
#include "http/HttpService.h"
#include "identity/IdentityService.h"
#include "storage/ObjectStore.h"
#include "work/Repeating.h"

#include <atomic>
#include <functional>
#include <list>
#include <mutex>
#include <optional>

#include <json/value.h>

namespace VX::Backend
{

struct ConverterApiOptions
{
    /// Tells whether a token may convert files, and whose the conversion is then, at once or later on another thread;
    /// an empty token is that of nobody. The address is the client's.
    std::function<void( const std::string& token, const std::string& address, IdentityService::AccessTold told )>
        mayConvert;
    /// Presigned URLs outlive the client's transfer time-out of 10 minutes.
    std::chrono::seconds urlLifetime{ 1800 };
    /// A status call holds its answer for this long while the conversion runs: clients pause for a second between two
    /// calls, and give one up after ten.
    std::chrono::milliseconds statusHold{ 5000 };
};

/// "/converter/v2/request", "/convert" and "/status", in the envelope {"result": …} or {"error": {"message": …}}.
class ConverterApi final : public HttpService
{
public:
    ConverterApi( ConversionJobs& jobs, ObjectStore& store, ConverterApiOptions options );
    ~ConverterApi() override;

    [[nodiscard]] static bool serves( const std::string& path ) { return path.starts_with( "/converter/v2/" ); }
    [[nodiscard]] BodyPlan planBody( const HttpRequest& head ) override;
    void handle( HttpRequest request, Respond respond ) override;

    /// Begins no conversion any more, and says so; of those that are begun it tells.
    void drain() { draining_ = true; }
    /// Answers the status calls that are held, and holds none after it.
    void stop();

private:
    using Clock = std::chrono::steady_clock;
    struct Waiter
    {
        std::string id;
        Clock::time_point deadline;
        Respond respond;
    };

    [[nodiscard]] HttpResponse request_( const Json::Value& body, const std::string& owner );
    [[nodiscard]] HttpResponse convert_( const Json::Value& body, const std::string& owner );
    void status_( const HttpRequest& request, const Respond& respond );
    /// The answer for a job, or nothing while it is worth waiting.
    [[nodiscard]] std::optional<HttpResponse> statusOf_( const std::string& id, bool waitLonger );
    /// Answers those for whom there is news or whose time is over, and waits for news for the others; returns the
    /// pause after it.
    [[nodiscard]] std::chrono::milliseconds answerWaiters_();

    ConversionJobs& jobs_;
    ObjectStore& store_;
    ConverterApiOptions options_;
    std::mutex mutex_;
    std::list<Waiter> waiters_;
    std::atomic<bool> draining_{ false };
    std::atomic<bool> stopping_{ false };
    Repeating answering_;
};

} // namespace VX::Backend
