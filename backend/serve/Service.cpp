#include "serve/Service.h"

#include "converter/ConversionRunner.h"
#include "converter/ConverterApi.h"
#include "identity/AuthApi.h"
#include "identity/IdentityKeys.h"
#include "serve/StoreKeys.h"
#include "storage/EmbeddedStore.h"
#include "tls/Certificates.h"
#include "version/VersionApi.h"

#include <VXMesh/system/SystemInfo.h>

#include <sys/stat.h>

namespace VX::Backend
{
namespace
{

std::chrono::sys_seconds systemTime()
{
    return std::chrono::time_point_cast<std::chrono::seconds>( std::chrono::system_clock::now() );
}

/// Sends each request to the service that its path names.
class Router final : public HttpHandler
{
public:
    Router( AuthApi& auth, ConverterApi& converter, VersionApi& version, EmbeddedStore& store )
        : auth_( auth )
        , converter_( converter )
        , version_( version )
        , store_( store )
    {
    }

    [[nodiscard]] BodyPlan planBody( const HttpRequest& head ) override
    {
        if ( auto* handler = handlerOf_( head.path ) )
            return handler->planBody( head );
        BodyPlan plan;
        plan.refusal = HttpResponse{};
        plan.refusal->status = 404;
        plan.refusal->body = R"({"error":{"message":"There is nothing here"}})";
        return plan;
    }

    void handle( HttpRequest request, Respond respond ) override
    {
        handlerOf_( request.path )->handle( std::move( request ), std::move( respond ) );
    }

private:
    HttpHandler* handlerOf_( const std::string& path )
    {
        if ( AuthApi::serves( path ) )
            return &auth_;
        if ( ConverterApi::serves( path ) )
            return &converter_;
        if ( VersionApi::serves( path ) )
            return &version_;
        return store_.serves( path ) ? &store_ : nullptr;
    }

    AuthApi& auth_;
    ConverterApi& converter_;
    VersionApi& version_;
    EmbeddedStore& store_;
};

/// Without mail it is in the outbox that a developer finds the codes.
std::unique_ptr<Mailer> makeMailer( const ServiceOptions& options )
{
    return options.identity.smtp.url.empty() ? outboxMailer( options.data / "outbox" )
                                             : smtpMailer( options.identity.smtp );
}

} // namespace

struct Service::Parts
{
    std::unique_ptr<Database> database;
    std::unique_ptr<ConversionJobs> jobs;
    std::unique_ptr<EmbeddedStore> store;
    std::unique_ptr<Accounts> accounts;
    std::unique_ptr<AccessTokens> tokens;
    std::unique_ptr<Mailer> mailer;
    std::unique_ptr<IdentityService> identity;
    std::unique_ptr<AuthApi> auth;
    std::unique_ptr<ConverterApi> api;
    std::unique_ptr<VersionApi> version;
    std::unique_ptr<Router> router;
    std::unique_ptr<HttpServer> server;
    std::unique_ptr<ConversionRunner> runner;
};

Service::Service()
    : parts_( std::make_unique<Parts>() )
{
}

Service::~Service()
{
    // The runner first: it may wait for a worker. The server before what it calls.
    parts_->runner.reset();
    if ( parts_->auth )
        parts_->auth->stop();
    parts_->api.reset();
    if ( parts_->server )
        parts_->server->stop();
}

uint16_t Service::port() const
{
    return parts_->server->port();
}

tl::expected<std::unique_ptr<Service>, std::string> Service::start( const ServiceOptions& options )
{
    std::error_code ec;
    std::filesystem::create_directories( options.data, ec );
    ::chmod( options.data.c_str(), 0700 );
    const auto certificate = ensureCertificate( options.data );
    if ( !certificate )
        return tl::unexpected( certificate.error() );
    auto keys = ensureStoreKeys( options.data );
    if ( !keys )
        return tl::unexpected( keys.error() );
    const auto identityKeys = ensureIdentityKeys( options.data );
    if ( !identityKeys )
        return tl::unexpected( identityKeys.error() );
    auto database = Database::open( options.data / "orvanta.db" );
    if ( !database )
        return tl::unexpected( database.error() );

    std::unique_ptr<Service> service( new Service );
    auto& p = *service->parts_;
    p.database = std::move( *database );
    p.jobs = std::make_unique<ConversionJobs>( *p.database, &systemTime );
    p.store = std::make_unique<EmbeddedStore>( EmbeddedStoreOptions{
        options.data / "objects", keys->bucket, keys->credentials, options.maxUpload, &systemTime } );
    p.mailer = makeMailer( options );
    p.accounts = std::make_unique<Accounts>( *p.database, identityKeys->codes, &systemTime );
    p.accounts->clean();
    p.tokens = std::make_unique<AccessTokens>( identityKeys->signing, options.identity.accessLife, &systemTime );
    if ( options.identity.gateway.endpoint.empty() )
        p.identity = std::make_unique<EmbeddedIdentity>(
            *p.database, *p.accounts, *p.tokens, *p.mailer, options.identity.embedded, &systemTime );
    else
        p.identity = std::make_unique<GatewayIdentity>( options.identity.gateway, &systemTime );
    p.auth = std::make_unique<AuthApi>( *p.identity );
    ConverterApiOptions api;
    api.mayConvert = [anonymous = options.allowAnonymous, identity = p.identity.get()](
                         const std::string& token, std::function<void( bool )> told )
    {
        if ( anonymous )
            return told( true );
        identity->checkAccess( token, std::move( told ) );
    };
    p.api = std::make_unique<ConverterApi>( *p.jobs, *p.store, std::move( api ) );
    p.version =
        std::make_unique<VersionApi>( options.latestVersion.empty() ? GetVXVersionString() : options.latestVersion );
    p.router = std::make_unique<Router>( *p.auth, *p.api, *p.version, *p.store );

    HttpServerOptions http;
    http.port = options.port;
    http.certificateFile = certificate->chain;
    http.keyFile = certificate->key;
    auto server = HttpServer::start( http, *p.router );
    if ( !server )
        return tl::unexpected( server.error() );
    p.server = std::move( *server );
    p.store->setEndpoint( "https://localhost:" + std::to_string( p.server->port() ) );
    p.runner = std::make_unique<ConversionRunner>(
        *p.jobs, *p.store, RunnerOptions{ options.data / "work", options.slots, options.worker, options.keep } );
    return service;
}

} // namespace VX::Backend
