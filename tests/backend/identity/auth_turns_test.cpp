#include "clock/SystemTime.h"
#include "identity/AuthApi.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>

using namespace VX::Backend;

namespace
{

/// Answers one call at a time, the first only when the test lets it.
class SlowIdentity final : public IdentityService
{
public:
    [[nodiscard]] bool isQuick( const AuthCall& ) const override { return false; }
    [[nodiscard]] int threads() const override { return 1; }
    [[nodiscard]] HttpResponse answer( const AuthCall& call ) override
    {
        if ( answered.empty() )
        {
            began.set_value();
            released.get_future().wait();
        }
        answered.push_back( call.remoteAddress );
        return authSuccess( Json::Value( Json::objectValue ) );
    }
    void checkAccess( const std::string&, const std::string&, AccessTold ) override {}

    std::promise<void> began, released;
    std::vector<std::string> answered; ///< of the one thread
};

} // namespace

TEST( AuthTurns, StrangersWithEverNewNamesShutNobodyElseOut )
{
    SlowIdentity identity;
    AuthApi api( identity, "key", &systemTime );
    std::atomic<int> refused{ 0 };
    const auto call = [&]( const std::string& address, const std::string& name, Respond respond )
    {
        HttpRequest request;
        request.method = "POST";
        request.headers["x-amz-target"] = "AWSCognitoIdentityProviderService.InitiateAuth";
        request.body = R"({"AuthFlow":"USER_PASSWORD_AUTH","AuthParameters":{"USERNAME":")" + name + "\"}}";
        request.remoteAddress = address;
        api.handle( request, std::move( respond ) );
    };
    const auto count = [&]( const HttpResponse& response ) { refused += response.status == 503; };
    call( "first", "u", count );
    identity.began.get_future().wait();
    for ( int i = 0; i < 400; ++i )
        for ( const char* address : { "stranger", "another stranger" } )
            call( address, fmt::format( "u{}@example.org", i ), count );
    EXPECT_GT( refused, 500 );
    std::promise<int> ann, nameless;
    call( "ann's", "ann@example.org", [&]( const HttpResponse& response ) { ann.set_value( response.status ); } );
    call( "", "bob@example.org", [&]( const HttpResponse& response ) { nameless.set_value( response.status ); } );
    identity.released.set_value();
    EXPECT_EQ( ann.get_future().get(), 200 );
    EXPECT_EQ( nameless.get_future().get(), 200 );
    api.stop();
    const auto turnOf = [&]( const std::string& address )
    { return std::find( identity.answered.begin(), identity.answered.end(), address ) - identity.answered.begin(); };
    EXPECT_LE( turnOf( "ann's" ), 3 );
    EXPECT_LE( turnOf( "" ), 4 );
}
