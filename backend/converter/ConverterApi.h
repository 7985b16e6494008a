#pragma once

#include "converter/ConversionJobs.h"
#include "http/HttpService.h"
#include "identity/IdentityService.h"
#include "storage/ObjectStore.h"

#include <json/value.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <unordered_set>

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
    /// Of an upload that the store has taken without asking us: counts it, or says why it is not welcome. Stores that
    /// ask need none.
    std::function<Admission( const ConversionJob& job, uint64_t bytes )> countUpload;
    /// The largest of these.
    uint64_t maxUpload = uint64_t( 2 ) << 30;
    /// A status call holds its answer for this long while the conversion runs: clients pause for a second between two
    /// calls, and give one up after ten.
    std::chrono::milliseconds statusHold{ 4000 };
    /// Of calls that are held; one more is answered at once, and its client asks again after its pause.
    size_t mostHeld = 1024;
    /// How often it is looked at all that are waited for: another process may end a job, of which no hint comes.
    std::chrono::milliseconds lookAgain{ 1000 };
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

    using Found = DatabaseResult<std::optional<ConversionJob>>;

    [[nodiscard]] HttpResponse request_( const Json::Value& body, const std::string& owner );
    /// Why what was uploaded for it cannot be converted.
    [[nodiscard]] std::optional<HttpResponse> problemOfUpload_( const ConversionJob& job );
    [[nodiscard]] HttpResponse convert_( const Json::Value& body, const std::string& owner );
    void status_( const HttpRequest& request, const Respond& respond );
    /// The answer for a job, or nothing while it is worth waiting.
    [[nodiscard]] std::optional<HttpResponse> statusOf_( const Found& found, bool waitLonger );
    /// Whether the call is held.
    [[nodiscard]] bool hold_( const std::string& id, const Respond& respond );
    void noteEnd_( const std::string& id );
    void answerWaiters_();
    /// Waits until there is something to look at; whether there may be.
    [[nodiscard]] bool awaitTurn_( std::unique_lock<std::mutex>& lock );
    /// Which jobs are to be looked at now.
    [[nodiscard]] std::set<std::string> nextIds_();
    /// Looks at these jobs by one query, and answers who waits for them.
    void look_( std::unique_lock<std::mutex>& lock, const std::set<std::string>& ids );

    ConversionJobs& jobs_;
    ObjectStore& store_;
    ConverterApiOptions options_;
    std::mutex mutex_;
    std::condition_variable arrived_;
    /// In the order of their deadlines.
    std::list<Waiter> waiters_;
    /// What they wait for.
    std::unordered_multiset<std::string> held_;
    /// Of these, what may have ended since it was looked at.
    std::set<std::string> changed_;
    Clock::time_point lastLook_, nextLookAtAll_;
    std::atomic<bool> draining_{ false };
    std::atomic<bool> stopping_{ false };
    std::thread thread_;
};

} // namespace VX::Backend
