/// Feeds any bytes to the back end as bodies of statistics and of identity operations. The first byte picks which.
#include "Scratch.h"

#include "identity/AuthApi.h"
#include "identity/EmbeddedIdentity.h"
#include "identity/KeptLimit.h"
#include "identity/gateway/GatewayNames.h"
#include "identity/keys/IdentityKeys.h"
#include "statistics/StatsApi.h"

#include <spdlog/spdlog.h>

#include <array>
#include <future>

using namespace VX;
using namespace VX::Backend;

namespace
{

class NoMailer final : public Mailer
{
public:
    tl::expected<void, std::string> send( const Mail& ) override { return {}; }
};

/// Both services over a database of their own.
struct Services
{
    Services() { spdlog::set_level( spdlog::level::off ); }

    static std::unique_ptr<Database> open( const std::filesystem::path& file )
    {
        auto out = std::move( Database::open( file ).value() );
        Fuzz::require( Accounts::prepare( *out ) && KeptLimit::prepare( *out ) && GatewayNames::prepare( *out ) &&
                           MailQueue::prepare( *out ),
            "there are tables" );
        return out;
    }
    HttpResponse call( HttpHandler& api, HttpRequest request )
    {
        std::promise<HttpResponse> promise;
        api.handle(
            std::move( request ), [&]( HttpResponse response ) { promise.set_value( std::move( response ) ); } );
        return promise.get_future().get();
    }

    Fuzz::Scratch scratch;
    AccessTokens::Clock clock = [] { return std::chrono::sys_seconds( std::chrono::hours( 490'000 ) ); };
    IdentityKeys keys = ensureIdentityKeys( scratch.path() ).value();
    std::unique_ptr<Database> database = open( scratch.path() / "db" );
    Accounts accounts{ *database, keys.codes, clock };
    AccessTokens tokens{ keys.signing, std::chrono::hours( 1 ), clock };
    NoMailer mailer;
    MailQueue mails{ *database, mailer, Delivery::AtOnce, clock };
    EmbeddedIdentity identity{ *database, accounts, tokens, mails, {}, clock };
    AuthApi auth{ identity, keys.codes, clock };
    StatsStore store{ *database, clock };
    StatsApi stats{ store, StatsOptions{ .userKey = std::string( 32, 'k' ) } };
};

constexpr std::array cOperations = { "SignUp", "ConfirmSignUp", "ResendConfirmationCode", "InitiateAuth",
    "ForgotPassword", "ConfirmForgotPassword", "GetUser", "" };

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const uint8_t* data, size_t size )
{
    if ( size == 0 )
        return 0;
    static Services sServices;
    HttpRequest request;
    request.method = "POST";
    request.remoteAddress = "here";
    request.body = Fuzz::text( data + 1, size - 1 );
    const size_t pick = data[0] % ( cOperations.size() + 1 );
    HttpResponse response;
    if ( pick == cOperations.size() )
    {
        request.path = "/stats/log";
        response = sServices.call( sServices.stats, std::move( request ) );
    }
    else
    {
        request.path = "/auth";
        request.headers["x-amz-target"] = std::string( "AWSCognitoIdentityProviderService." ) + cOperations[pick];
        response = sServices.call( sServices.auth, std::move( request ) );
    }
    Fuzz::require( response.status == 200 || ( response.status >= 400 && response.status < 500 ),
        "what a client sends is no fault of the server's" );
    return 0;
}
