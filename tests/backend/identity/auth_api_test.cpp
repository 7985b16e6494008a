#include "clock/SystemTime.h"
#include "identity/AuthApi.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

using namespace VX::Backend;

namespace
{

constexpr auto cPatience = std::chrono::minutes( 2 );

/// Stands still until it is let go.
class StillIdentity final : public IdentityService
{
public:
    [[nodiscard]] bool isQuick( const AuthCall& ) const override { return false; }
    [[nodiscard]] int threads() const override { return 1; }
    [[nodiscard]] HttpResponse answer( const AuthCall& ) override
    {
        begun.set_value();
        go.get_future().wait();
        return authSuccess( Json::Value( Json::objectValue ) );
    }
    void checkAccess( const std::string&, const std::string&, AccessTold told ) override { told( {} ); }

    std::promise<void> begun, go;
};

std::future<HttpResponse> ask( AuthApi& api )
{
    HttpRequest request;
    request.method = "POST";
    request.path = "/auth";
    request.headers["x-amz-target"] = "AWSCognitoIdentityProviderService.InitiateAuth";
    request.body = "{}";
    const auto told = std::make_shared<std::promise<HttpResponse>>();
    api.handle( request, [told]( HttpResponse response ) { told->set_value( std::move( response ) ); } );
    return told->get_future();
}

} // namespace

TEST( AuthApi, WhatWaitsIsRefusedAtTheEndAndNotDone )
{
    StillIdentity identity;
    AuthApi api( identity, "key", &systemTime );
    auto underWay = ask( api );
    ASSERT_EQ( identity.begun.get_future().wait_for( cPatience ), std::future_status::ready );
    auto waiting = ask( api );
    auto stopping = std::async( std::launch::async, [&] { api.stop(); } );
    // Else it is answered by the identity, which cannot be asked a second time.
    EXPECT_EQ( waiting.wait_for( std::chrono::seconds( 20 ) ), std::future_status::ready );
    identity.go.set_value();
    stopping.get();
    const auto refused = waiting.get();
    EXPECT_EQ( refused.status, 503 );
    EXPECT_NE( refused.body.find( "TooManyRequestsException" ), std::string::npos ) << refused.body;
    EXPECT_EQ( underWay.get().status, 200 ) << "what was under way is answered";
    EXPECT_EQ( ask( api ).get().status, 503 );
}
