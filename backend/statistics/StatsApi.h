#pragma once

#include "http/HttpService.h"
#include "statistics/ByteBudget.h"
#include "statistics/StatsStore.h"
#include "work/Repeating.h"

#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace VX::Backend
{

struct StatsOptions
{
    /// Makes the codes that stand for users.
    std::string userKey;
    /// How long reports are kept.
    std::chrono::seconds keep = std::chrono::days( 400 );
    /// Bytes that may wait to be stored; more are told to come later, and so is who is over a budget.
    size_t mostWaiting = size_t( 64 ) << 20;
    /// Of a session in a minute, and of a client's address in an hour: more than thousands of reports a second.
    uint64_t bytesOfSession = uint64_t( 64 ) << 20;
    uint64_t bytesOfAddress = uint64_t( 4 ) << 30;
    /// Of all that is kept.
    uint64_t mostStored = uint64_t( 8 ) << 30;
    /// Actions after which a transaction ends, with the report they are in.
    size_t rowsAtOnce = 2000;
    ByteBudget::Clock clock = &std::chrono::steady_clock::now;
};

/// "/stats/log": reports of the program's use. Those that arrive while others are being stored are stored together, and
/// each is answered when it is in the database. They are read and stored by a thread of their own, so that no other
/// service waits for them.
class StatsApi final : public HttpService
{
public:
    StatsApi( StatsStore& store, StatsOptions options );
    ~StatsApi() override;

    [[nodiscard]] static bool serves( const std::string& path ) { return path == "/stats/log"; }
    [[nodiscard]] BodyPlan planBody( const HttpRequest& head ) override;
    void handle( HttpRequest request, Respond respond ) override;
    [[nodiscard]] HttpResponse refuse( const std::string& path, int status ) override;

    /// Stores what waits and nothing that comes later.
    void stop();

private:
    struct Waiting
    {
        std::string body;
        Respond respond;
    };
    /// Reports that are stored together, and who waits for each.
    struct Batch
    {
        std::vector<Report> reports;
        std::vector<Respond> responds;
    };

    [[nodiscard]] static HttpResponse later_();
    [[nodiscard]] bool mayReport_( const std::string& address, size_t bytes );
    /// Stores what waits; returns for how long nothing else is to be done.
    std::chrono::milliseconds storeWaiting_();
    void storeAll_( std::vector<Waiting>& waiting );
    [[nodiscard]] std::optional<Report> read_( const Waiting& waiting );
    void store_( Batch batch );

    StatsStore& stats_;
    StatsOptions options_;
    std::mutex mutex_;
    std::vector<Waiting> waiting_;
    size_t waitingBytes_ = 0; ///< of those, and of those that are being stored
    ByteBudget ofAddress_;
    ByteBudget ofSession_; ///< of the thread
    std::chrono::steady_clock::time_point nextForgetting_ = std::chrono::steady_clock::now();
    bool stopping_ = false;
    bool keyIsNamed_ = false; ///< of the thread
    Repeating storing_;
};

} // namespace VX::Backend
