#pragma once

#include "http/HttpServer.h"
#include "statistics/StatsStore.h"

#include <tl/expected.hpp>

#include <condition_variable>
#include <mutex>
#include <thread>

#include <json/value.h>

namespace VX::Backend
{

struct StatsOptions
{
    /// Makes the codes that stand for users.
    std::string userKey;
    /// How long reports are kept.
    std::chrono::seconds keep = std::chrono::days( 400 );
    /// Reports that may wait to be stored; more are told to come later.
    size_t mostWaiting = 20000;
};

/// "/stats/log": reports of the program's use. Those that arrive while others are being stored are stored together, and
/// each is answered when it is in the database.
class StatsApi final : public HttpHandler
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
        Report report;
        Respond respond;
    };

    /// What a body says, or what is wrong with it.
    [[nodiscard]] tl::expected<Report, std::string> read_( const std::string& body ) const;
    [[nodiscard]] std::string userCode_( const std::string& email ) const;
    void storeLoop_();
    void store_( std::vector<Waiting> batch );

    StatsStore& stats_;
    StatsOptions options_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Waiting> waiting_;
    bool stopping_ = false;
    std::thread thread_;
};

} // namespace VX::Backend
