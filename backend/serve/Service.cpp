#include "serve/Service.h"

#include "clock/SystemTime.h"
#include "converter/ConversionRunner.h"
#include "converter/ConverterApi.h"
#include "http/Descriptors.h"
#include "identity/AuthApi.h"
#include "identity/IdentityKeys.h"
#include "monitor/MonitorApi.h"
#include "serve/DataFolder.h"
#include "serve/StoreKeys.h"
#include "site/SiteApi.h"
#include "statistics/StatsApi.h"
#include "storage/EmbeddedStore.h"
#include "tls/Certificates.h"
#include "version/VersionApi.h"
#include "work/Repeating.h"

#include <VXMesh/system/SystemInfo.h>

#include <spdlog/spdlog.h>

#include <algorithm>

namespace VX::Backend
{
namespace
{

constexpr auto cChoresEvery = std::chrono::minutes( 30 );

/// What stands behind a beginning of the paths; the name is for the metrics.
struct Door
{
    const char* name;
    std::function<bool( const std::string& path )> serves;
    HttpHandler* handler;
};

/// Sends each request to the service that its path names, and counts the answers.
class Router final : public HttpHandler
{
public:
    Router( std::vector<Door> doors, RequestCounts& counts )
        : doors_( std::move( doors ) )
        , counts_( counts )
    {
    }

    [[nodiscard]] BodyPlan planBody( const HttpRequest& head ) override
    {
        const auto* door = doorOf_( head.path );
        auto plan = door ? door->handler->planBody( head ) : nothingHere( head.path );
        if ( plan.refusal )
            counts_.add( door ? door->name : "none", plan.refusal->status );
        return plan;
    }

    void handle( HttpRequest request, Respond respond ) override
    {
        const auto* door = doorOf_( request.path );
        door->handler->handle( std::move( request ),
            [this, name = door->name, respond = std::move( respond )]( HttpResponse response )
            {
                counts_.add( name, response.status );
                respond( std::move( response ) );
            } );
    }

    [[nodiscard]] HttpResponse refuse( const std::string& path, int status ) override
    {
        const auto* door = doorOf_( path );
        counts_.add( door ? door->name : "none", status );
        return door ? door->handler->refuse( path, status ) : HttpHandler::refuse( path, status );
    }

private:
    static BodyPlan nothingHere( const std::string& path )
    {
        BodyPlan plan;
        plan.refusal = HttpResponse{};
        plan.refusal->status = 404;
        plan.refusal->body = R"({"error":{"message":"There is nothing here"}})";
        // Programs that sign in look for the text at the top.
        if ( path.starts_with( "/auth" ) )
            plan.refusal = authFailure( "ResourceNotFoundException", "There is nothing here", 404 );
        return plan;
    }

    [[nodiscard]] const Door* doorOf_( const std::string& path ) const
    {
        const auto found =
            std::find_if( doors_.begin(), doors_.end(), [&]( const Door& d ) { return d.serves( path ); } );
        return found == doors_.end() ? nullptr : &*found;
    }

    std::vector<Door> doors_;
    RequestCounts& counts_;
};

/// Without mail it is in the outbox that a developer finds the codes.
std::unique_ptr<Mailer> makeMailer( const ServiceOptions& options )
{
    return options.identity.smtp.url.empty() ? outboxMailer( options.data / "outbox" )
                                             : smtpMailer( options.identity.smtp );
}

void cleanUp( Database& database, Accounts& accounts, MailQueue& mails )
{
    const auto cleaned = accounts.clean()
                             .and_then( [&] { return mails.clean(); } )
                             .and_then( [&] { return KeptLimit::clean( database, systemTime() ); } );
    if ( !cleaned )
        spdlog::error( "Old codes, sign-ins and mails cannot be deleted: {}", cleaned.error().text );
}

/// Certificate and key of the operator, or of our own.
tl::expected<ServerCertificate, std::string> certificateOf( const ServiceOptions& options )
{
    if ( options.tlsCertificate.empty() )
        return ensureCertificate( options.data );
    return ServerCertificate{ {}, options.tlsCertificate, options.tlsKey };
}

/// Scheme and host, to which paths are added.
tl::expected<std::string, std::string> publicUrlOf( const ServiceOptions& options )
{
    auto url = options.publicUrl;
    while ( url.ends_with( '/' ) )
        url.pop_back();
    constexpr std::string_view cScheme = "https://";
    if ( !url.empty() && ( !url.starts_with( cScheme ) || url.size() == cScheme.size() ||
                             url.find_first_of( "/?#@ ", cScheme.size() ) != std::string::npos ) )
        return tl::unexpected( "\"" + options.publicUrl + "\" is no address such as https://convert.example.org" );
    return url;
}

} // namespace

struct Service::Parts
{
    std::string url;
    std::unique_ptr<FolderLock> lock;
    std::unique_ptr<Database> database;
    std::unique_ptr<ConversionJobs> jobs;
    std::unique_ptr<EmbeddedStore> store;
    std::unique_ptr<Accounts> accounts;
    std::unique_ptr<AccessTokens> tokens;
    std::unique_ptr<Mailer> mailer;
    std::unique_ptr<MailQueue> mails;
    std::unique_ptr<IdentityService> identity;
    std::unique_ptr<AuthApi> auth;
    std::unique_ptr<Repeating> chores;
    std::unique_ptr<ConverterApi> api;
    std::unique_ptr<Database> statsDatabase;
    std::unique_ptr<StatsStore> statsStore;
    std::unique_ptr<StatsApi> stats;
    std::unique_ptr<VersionApi> version;
    std::unique_ptr<SiteApi> site;
    RequestCounts counts;
    std::unique_ptr<MonitorApi> monitor;
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
    // The runner first: it may wait for a worker. Then what answers later, then the server; what the server calls stays
    // until it has ended.
    parts_->runner.reset();
    if ( parts_->auth )
        parts_->auth->stop();
    if ( parts_->identity )
        parts_->identity->stop();
    if ( parts_->stats )
        parts_->stats->stop();
    if ( parts_->api )
        parts_->api->stop();
    if ( parts_->server )
        parts_->server->stop();
}

uint16_t Service::port() const
{
    return parts_->server->port();
}

const std::string& Service::url() const
{
    return parts_->url;
}

tl::expected<void, std::string> Service::reloadCertificate()
{
    return parts_->server->reloadCertificate();
}

tl::expected<void, std::string> Service::check( const ServiceOptions& options )
{
    HttpServerOptions http;
    http.address = options.address;
    http.certificateFile = options.tlsCertificate;
    http.keyFile = options.tlsKey;
    return publicUrlOf( options )
        .and_then( [&]( const std::string& ) { return TrustedProxies::parse( options.trustedProxies ); } )
        .and_then( [&]( const TrustedProxies& ) { return HttpServer::check( http ); } );
}

tl::expected<std::unique_ptr<Service>, std::string> Service::start( const ServiceOptions& options )
{
    // Before anything is made.
    if ( const auto checked = check( options ); !checked )
        return tl::unexpected( checked.error() );
    const auto url = publicUrlOf( options );
    auto proxies = TrustedProxies::parse( options.trustedProxies );
    auto lock = prepareDataFolder( options.data ).and_then( [&] { return FolderLock::take( options.data ); } );
    if ( !lock )
        return tl::unexpected( lock.error() );
    const auto certificate = certificateOf( options );
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
    // Of its own, so that no sign-in and no conversion ever waits for a report.
    auto statsDatabase = Database::open( options.data / "statistics.db" );
    if ( !statsDatabase )
        return tl::unexpected( statsDatabase.error() );

    std::unique_ptr<Service> service( new Service );
    auto& p = *service->parts_;
    p.lock = std::move( *lock );
    p.database = std::move( *database );
    const auto prepared = ConversionJobs::prepare( *p.database )
                              .and_then( [&] { return Accounts::prepare( *p.database ); } )
                              .and_then( [&] { return KeptLimit::prepare( *p.database ); } )
                              .and_then( [&] { return MailQueue::prepare( *p.database ); } );
    if ( !prepared )
        return tl::unexpected( prepared.error().text );
    JobLimits limits;
    // Nobody alone fills the store, and everybody can have a file of the largest size in it.
    limits.bytes = std::max( options.maxUpload, options.maxStored / 2 );
    p.jobs = std::make_unique<ConversionJobs>( *p.database, &systemTime, limits );
    EmbeddedStoreOptions store{ options.data / "objects", keys->bucket, keys->credentials, options.maxUpload,
        options.maxStored, &systemTime, {}, {}, {} };
    store.admit = [jobs = p.jobs.get()]( const std::string& key, uint64_t bytes )
    { return jobs->admitUpload( key, bytes ); };
    store.arrived = [jobs = p.jobs.get()]( const std::string& key, uint64_t replaced )
    { return jobs->noteUpload( key, replaced ); };
    store.cutOff = [jobs = p.jobs.get()]( const std::string& key, uint64_t bytes )
    { jobs->forgetUpload( key, bytes ); };
    p.store = std::make_unique<EmbeddedStore>( std::move( store ) );
    p.mailer = makeMailer( options );
    p.accounts = std::make_unique<Accounts>( *p.database, identityKeys->codes, &systemTime );
    p.mails = std::make_unique<MailQueue>(
        *p.database, *p.mailer, options.identity.smtp.url.empty() ? Delivery::AtOnce : Delivery::Later, &systemTime );
    p.chores = std::make_unique<Repeating>(
        cChoresEvery, [parts = &p] { cleanUp( *parts->database, *parts->accounts, *parts->mails ); } );
    p.tokens = std::make_unique<AccessTokens>( identityKeys->signing, options.identity.accessLife, &systemTime );
    if ( options.identity.gateway.endpoint.empty() )
        p.identity = std::make_unique<EmbeddedIdentity>(
            *p.database, *p.accounts, *p.tokens, *p.mails, options.identity.embedded, &systemTime );
    else
        p.identity = std::make_unique<GatewayIdentity>( options.identity.gateway, &systemTime );
    p.auth = std::make_unique<AuthApi>( *p.identity );
    ConverterApiOptions api;
    api.mayConvert = [anonymous = options.allowAnonymous, identity = p.identity.get()](
                         const std::string& token, const std::string& address, IdentityService::AccessTold told )
    {
        if ( anonymous )
            return told( { AccessCheck::Verdict::Good, "address " + address } );
        identity->checkAccess( token, std::move( told ) );
    };
    p.api = std::make_unique<ConverterApi>( *p.jobs, *p.store, std::move( api ) );
    p.version =
        std::make_unique<VersionApi>( options.latestVersion.empty() ? GetVXVersionString() : options.latestVersion );
    p.site = std::make_unique<SiteApi>( options.downloads.empty() ? options.data / "downloads" : options.downloads );
    p.statsDatabase = std::move( *statsDatabase );
    p.statsStore = std::make_unique<StatsStore>( *p.statsDatabase, &systemTime );
    if ( const auto moved = p.statsStore->takeOver( *p.database ); !moved )
        return tl::unexpected( moved.error().text );
    StatsOptions stats;
    stats.userKey = identityKeys->codes;
    stats.keep = options.keepStatistics;
    stats.mostStored = options.maxStatistics;
    p.stats = std::make_unique<StatsApi>( *p.statsStore, std::move( stats ) );
    p.monitor = std::make_unique<MonitorApi>( *p.database, *p.statsDatabase, p.counts );
    p.router = std::make_unique<Router>(
        std::vector<Door>{ { "auth", &AuthApi::serves, p.auth.get() },
            { "converter", &ConverterApi::serves, p.api.get() }, { "statistics", &StatsApi::serves, p.stats.get() },
            { "version", &VersionApi::serves, p.version.get() }, { "monitor", &MonitorApi::serves, p.monitor.get() },
            { "site", &SiteApi::serves, p.site.get() },
            { "storage", [store = p.store.get()]( const std::string& path ) { return store->serves( path ); },
                p.store.get() } },
        p.counts );

    HttpServerOptions http;
    http.address = options.address;
    http.port = options.port;
    http.proxies = std::move( *proxies );
    http.certificateFile = certificate->chain;
    http.keyFile = certificate->key;
    // What comes later is for a conversion that nobody knows any more.
    http.longestBody = options.keep;
    http.maxConnections = connectionsFor( raiseDescriptorLimit() );
    auto server = HttpServer::start( http, *p.router );
    if ( !server )
        return tl::unexpected( server.error() );
    p.server = std::move( *server );
    p.url = url->empty() ? "https://localhost:" + std::to_string( p.server->port() ) : *url;
    p.store->setEndpoint( p.url );
    p.runner = std::make_unique<ConversionRunner>(
        *p.jobs, *p.store, RunnerOptions{ options.data / "work", options.slots, options.worker, options.keep } );
    return service;
}

} // namespace VX::Backend
