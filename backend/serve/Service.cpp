#include "serve/Service.h"

#include "converter/ConversionRunner.h"
#include "converter/ConverterApi.h"
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
    Router( ConverterApi& converter, VersionApi& version, EmbeddedStore& store )
        : converter_( converter )
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
        if ( ConverterApi::serves( path ) )
            return &converter_;
        if ( VersionApi::serves( path ) )
            return &version_;
        return store_.serves( path ) ? &store_ : nullptr;
    }

    ConverterApi& converter_;
    VersionApi& version_;
    EmbeddedStore& store_;
};

} // namespace

struct Service::Parts
{
    std::unique_ptr<Database> database;
    std::unique_ptr<ConversionJobs> jobs;
    std::unique_ptr<EmbeddedStore> store;
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
    auto database = Database::open( options.data / "orvanta.db" );
    if ( !database )
        return tl::unexpected( database.error() );

    std::unique_ptr<Service> service( new Service );
    auto& p = *service->parts_;
    p.database = std::move( *database );
    p.jobs = std::make_unique<ConversionJobs>( *p.database, &systemTime );
    p.store = std::make_unique<EmbeddedStore>( EmbeddedStoreOptions{
        options.data / "objects", keys->bucket, keys->credentials, options.maxUpload, &systemTime } );
    ConverterApiOptions api;
    api.mayConvert = [anonymous = options.allowAnonymous]( const std::string& ) { return anonymous; };
    p.api = std::make_unique<ConverterApi>( *p.jobs, *p.store, std::move( api ) );
    p.version =
        std::make_unique<VersionApi>( options.latestVersion.empty() ? GetVXVersionString() : options.latestVersion );
    p.router = std::make_unique<Router>( *p.api, *p.version, *p.store );

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
