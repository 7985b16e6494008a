#include "identity/AuthApi.h"

#include "metrics/Measures.h"
#include "text/JsonText.h"

namespace VX::Backend
{
namespace
{

constexpr uint64_t cLongestBody = 64 * 1024;

HttpResponse busy()
{
    return authFailure( "TooManyRequestsException", "Too many people are signing in; try again in a moment", 503 );
}

} // namespace

AuthApi::AuthApi( IdentityService& identity, std::string nameKey, RefusalLog::Clock clock )
    : identity_( identity )
    , refusals_( std::move( nameKey ), std::move( clock ) )
    , pool_( identity.threads(), cMostWaiting )
{
}

void AuthApi::stop()
{
    pool_.stop();
}

BodyPlan AuthApi::planBody( const HttpRequest& head )
{
    BodyPlan plan;
    plan.maxSize = cLongestBody;
    if ( head.method == "POST" )
        return plan;
    plan.refusal = authFailure( "UnknownOperationException", "Operations are sent by POST", 405 );
    plan.refusal->headers["Allow"] = "POST";
    return plan;
}

HttpResponse AuthApi::refuse( const std::string& /*path*/, int status )
{
    HttpResponse out;
    if ( status < 500 )
        out = authFailure( "InvalidParameterException", statusText( status ), status );
    else
        // Without a message programs take it for a bad connection, and try again.
        out.body = R"({"__type":"InternalErrorException"})";
    out.status = status;
    out.close = true;
    return out;
}

void AuthApi::handle( HttpRequest request, Respond respond )
{
    constexpr std::string_view cPrefix = "AWSCognitoIdentityProviderService.";
    const auto target = request.header( "x-amz-target" );
    if ( !target.starts_with( cPrefix ) )
        return respond( authFailure( "UnknownOperationException", "The header x-amz-target names no operation" ) );
    auto body = readRequestJson( request.body );
    if ( !body )
        return respond( authFailure( "SerializationException", "The request is not a JSON object" ) );
    const auto call = std::make_shared<const AuthCall>(
        AuthCall{ target.substr( cPrefix.size() ), std::move( *body ), request.remoteAddress } );
    if ( identity_.isQuick( *call ) )
        return respond( noted_( *call, identity_.answer( *call ) ) );
    const auto begin = std::chrono::steady_clock::now();
    auto answer = [this, begin, call, respond]
    {
        auto response = noted_( *call, identity_.answer( *call ) );
        if ( call->operation == "InitiateAuth" )
            measures().signIns.add( std::chrono::steady_clock::now() - begin );
        respond( std::move( response ) );
    };
    pool_.run(
        call->remoteAddress, { std::move( answer ), [this, call, respond] { respond( noted_( *call, busy() ) ); } } );
}

HttpResponse AuthApi::noted_( const AuthCall& call, HttpResponse answer )
{
    refusals_.note( call, answer );
    return answer;
}

} // namespace VX::Backend
