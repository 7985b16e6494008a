#pragma once

#include "support/service/RawTlsServer.h"

#include <VXViewer/web/WebRequest.h>

#include <gtest/gtest.h>

#include <chrono>
#include <future>

namespace VX::Testing
{

/// The real transport against a server that says what a test tells it to.
class TransportFixture : public testing::Test
{
protected:
    void TearDown() override
    {
        EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 5 ) ) );
        setWebTransport( nullptr );
    }
    static Json::Value send( const WebRequest& request )
    {
        std::promise<Json::Value> promise;
        request.send( [&]( const Json::Value& response ) { promise.set_value( response ); } );
        return promise.get_future().get();
    }
    static Json::Value get( const std::string& path ) { return send( WebRequest( RawTlsServer::url( path ) ) ); }
    static int codeOf( const Json::Value& response ) { return response["code"].asInt(); }
    /// How the texts of failures name the server.
    static std::string here() { return "localhost:" + std::to_string( ORVANTA_TEST_PORT ); }

    ScratchFolder folder_;
};

} // namespace VX::Testing
