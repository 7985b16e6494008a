#pragma once

#include "support/ScratchFolder.h"
#include "support/service/OpenDatabase.h"

#include "identity/keys/IdentityKeys.h"
#include "statistics/StatsApi.h"

#include <VXMesh/io/Json.h>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>

namespace VX::Backend
{

/// The service of statistics over a database of its own, at a time that a test sets.
class StatisticsFixture : public testing::Test
{
protected:
    StatisticsFixture()
        : database_( Testing::openTestDatabase( folder_.path() / "statistics.db" ) )
        , store_( *database_, [this] { return std::chrono::sys_seconds( std::chrono::seconds( now_.load() ) ); } )
        , api_( std::make_unique<StatsApi>( store_, StatsOptions{ .userKey = std::string( 32, 'k' ) } ) )
    {
    }
    /// The options of a test before the service over the same database.
    void restart( StatsOptions options )
    {
        api_ = nullptr;
        options.userKey = std::string( 32, 'k' );
        api_ = std::make_unique<StatsApi>( store_, std::move( options ) );
    }
    std::future<HttpResponse> begin( const std::string& body, const std::string& address = "" )
    {
        HttpRequest request;
        request.method = "POST";
        request.path = "/stats/log";
        request.body = body;
        request.remoteAddress = address;
        auto promise = std::make_shared<std::promise<HttpResponse>>();
        api_->handle( request, [promise]( HttpResponse response ) { promise->set_value( std::move( response ) ); } );
        return promise->get_future();
    }
    HttpResponse send( const std::string& body, const std::string& address = "" )
    {
        return begin( body, address ).get();
    }
    int64_t newSession( const std::string& email = "ann@example.org" )
    {
        const auto answer = send( R"({"type":"createSession","email":")" + email + "\"}" );
        EXPECT_EQ( answer.status, 200 );
        return deserializeJsonValue( answer.body ).value()["sessionId"].asInt64();
    }
    static std::string reportOf(
        int64_t session, const std::string& actions, const std::string& email = "ann@example.org" )
    {
        return fmt::format(
            R"({{"type":"logAction","sessionId":{},"email":"{}","actionNames":{}}})", session, email, actions );
    }
    int report( int64_t session, const std::string& actions, const std::string& email = "ann@example.org" )
    {
        return send( reportOf( session, actions, email ) ).status;
    }
    /// What else a report needs: keys, and a database of accounts in which these people have one.
    void makeAccounts( std::initializer_list<const char*> emails, const char* elsewhere = "" )
    {
        const auto keys = ensureIdentityKeys( folder_.path() ).value();
        const auto database = Testing::openDatabase( folder_.path() / "orvanta.db" );
        const auto clock = [this] { return std::chrono::sys_seconds( std::chrono::seconds( now_.load() ) ); };
        Accounts accounts( *database, keys.codes, clock );
        for ( const char* email : emails )
            EXPECT_TRUE( accounts.add( email, "hash", true ) );
        EXPECT_TRUE( GatewayNames( *database, clock ).rememberPerson( elsewhere, "somebody" ) );
        api_ = nullptr;
        api_ = std::make_unique<StatsApi>( store_, StatsOptions{ .userKey = keys.codes } );
    }
    int64_t count( const std::string& table )
    {
        return integerOf( database_->query( "SELECT count(*) FROM " + table ).value()[0][0] );
    }

    Testing::ScratchFolder folder_;
    std::atomic<int64_t> now_{ 1'700'000'000 };
    std::unique_ptr<Database> database_;
    StatsStore store_;
    std::unique_ptr<StatsApi> api_;
};

} // namespace VX::Backend
