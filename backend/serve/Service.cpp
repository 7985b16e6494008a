#include "serve/Service.h"

#include "clock/SystemTime.h"
#include "converter/ConverterApi.h"
#include "http/Descriptors.h"
#include "identity/AuthApi.h"
#include "identity/keys/KeyRing.h"
#include "identity/keys/KeysApi.h"
#include "monitor/HealthApi.h"
#include "monitor/LivenessApi.h"
#include "serve/Foundation.h"
#include "serve/MonitorListener.h"
#include "serve/Router.h"
#include "serve/Storage.h"
#include "serve/Workers.h"
#include "site/SiteApi.h"
#include "statistics/StatsApi.h"
#include "version/VersionApi.h"
#include "work/Repeating.h"

#include <VXMesh/system/SystemInfo.h>

#include <spdlog/spdlog.h>

#include <algorithm>
#include <mutex>

namespace VX::Backend
{
namespace
{

/// How soon what an operator does beside the service is noticed.
constexpr auto cLookEvery = std::chrono::seconds( 1 );

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
                             .and_then( [&] { return KeptLimit::clean( database, systemTime() ); } )
                             .and_then( [&] { return GatewayNames::clean( database, systemTime() ); } );
    if ( !cleaned )
        spdlog::error( "Old codes, sign-ins and mails cannot be deleted: {}", cleaned.error().text );
}

Delivery deliveryOf( const ServiceOptions& options )
{
    return options.identity.smtp.url.empty() ? Delivery::AtOnce : Delivery::Later;
}

std::unique_ptr<IdentityService> makeIdentity(
    const ServiceOptions& options, Database& database, Accounts& accounts, AccessTokens& tokens, MailQueue& mails )
{
    if ( !options.identity.gateway.endpoint.empty() )
        return std::make_unique<GatewayIdentity>( database, options.identity.gateway, &systemTime );
    return std::make_unique<EmbeddedIdentity>(
        database, accounts, tokens, mails, options.identity.embedded, &systemTime );
}

ConverterApiOptions converterOptions(
    const ServiceOptions& options, IdentityService& identity, Storage& storage, ConversionJobs& jobs )
{
    ConverterApiOptions out;
    out.urlLifetime = std::min( out.urlLifetime, options.keep );
    out.mayConvert = [anonymous = options.allowAnonymous, &identity](
                         const std::string& token, const std::string& address, IdentityService::AccessTold told )
    {
        if ( anonymous )
            return told( { AccessCheck::Verdict::Good, "address " + address } );
        identity.checkAccess( token, address, std::move( told ) );
    };
    out.maxUpload = options.maxUpload;
    // The embedded store has asked before an upload came.
    if ( !storage.embedded() )
        out.countUpload = [&storage, &jobs]( const ConversionJob& job, uint64_t bytes )
        { return countUploadInto( storage.objects(), jobs, job, bytes ); };
    return out;
}

KeyTimes keyTimes( const ServiceOptions& options )
{
    KeyTimes out;
    // For a while more than its tokens live: whoever signs may be a little late to hear of the next key.
    out.overlap = options.identity.accessLife + std::chrono::days( 1 );
    return out;
}

StatsOptions statsOptions( const ServiceOptions& options, const IdentityKeys& keys )
{
    StatsOptions out;
    out.userKey = keys.codes;
    out.keep = options.keepStatistics;
    out.mostStored = options.maxStatistics;
    out.mostWaiting = options.maxStatisticsWaiting;
    return out;
}

} // namespace

class Service::Parts
{
public:
    Parts( Foundation foundation, const ServiceOptions& options );

    /// Listens, and converts from then on.
    [[nodiscard]] tl::expected<void, std::string> open( const ServiceOptions& options );

    [[nodiscard]] const std::string& url() const { return url_; }
    [[nodiscard]] HttpServer& server() { return *server_; }
    [[nodiscard]] uint16_t monitorPort() const { return monitor_ ? monitor_->port() : uint16_t( 0 ); }
    [[nodiscard]] const Workers& workers() const { return *workers_; }
    [[nodiscard]] tl::expected<void, std::string> reloadCertificate();
    void drain();

private:
    /// Ends what may still answer, when it goes itself.
    template <typename T>
    struct Ending
    {
        T& service;
        ~Ending() { service.stop(); }
    };

    [[nodiscard]] std::vector<Door> doors_( const ServiceOptions& options );
    void doChores_();
    void renewCertificate_();
    [[nodiscard]] tl::expected<void, std::string> openMonitor_( const ServiceOptions& options );

    Foundation foundation_;
    std::string url_;
    std::function<tl::expected<ServerCertificate, std::string>()> certify_;
    std::mutex certifying_; ///< one at a time writes the files
    ConversionJobs jobs_;
    /// Goes before they do, and after all who change them.
    std::unique_ptr<Bell> bell_;
    Storage storage_;
    std::unique_ptr<Mailer> mailer_;
    Accounts accounts_;
    MailQueue mails_;
    AccessTokens tokens_;
    KeyRing keys_;
    Repeating keyWatch_;
    std::unique_ptr<IdentityService> identity_;
    Repeating chores_;
    AuthApi auth_;
    KeysApi publicKeys_;
    ConverterApi converter_;
    StatsStore statsStore_;
    StatsApi stats_;
    VersionApi version_;
    SiteApi site_;
    RequestMeasures counts_;
    LivenessApi liveness_;
    HealthApi health_;
    Router router_;
    std::unique_ptr<HttpServer> server_;
    std::unique_ptr<Repeating> certificateWatch_;
    // They answer later, by the server: nobody may when it goes.
    Ending<ConverterApi> converterEnding_{ converter_ };
    Ending<StatsApi> statsEnding_{ stats_ };
    Ending<IdentityService> identityEnding_{ *identity_ };
    Ending<AuthApi> authEnding_{ auth_ };
    Ending<Router> routerEnding_{ router_ };
    /// May wait for a worker.
    std::unique_ptr<Workers> workers_;
    /// Asks all others.
    std::unique_ptr<MonitorListener> monitor_;
};

Service::Parts::Parts( Foundation foundation, const ServiceOptions& options )
    : foundation_( std::move( foundation ) )
    , certify_( [options] { return Foundation::certificateOf( options ); } )
    , jobs_( *foundation_.database, &systemTime, jobLimits( options ) )
    , bell_( foundation_.database->engine().bell() )
    , storage_( foundation_, options, jobs_ )
    , mailer_( makeMailer( options ) )
    , accounts_( *foundation_.database, foundation_.identityKeys.codes, &systemTime )
    , mails_( *foundation_.database, *mailer_, deliveryOf( options ), &systemTime )
    , tokens_( foundation_.identityKeys.signing, options.identity.accessLife, &systemTime )
    , keys_( std::move( foundation_.keyStore ), foundation_.identityKeys, tokens_, keyTimes( options ), &systemTime )
    , keyWatch_( cLookEvery, [this] { keys_.look(); } )
    , identity_( makeIdentity( options, *foundation_.database, accounts_, tokens_, mails_ ) )
    , chores_( options.choresEvery, [this] { doChores_(); } )
    , auth_( *identity_, foundation_.identityKeys.codes, &systemTime )
    , publicKeys_( tokens_ )
    , converter_( jobs_, storage_.objects(), converterOptions( options, *identity_, storage_, jobs_ ) )
    , statsStore_( *foundation_.statistics, &systemTime )
    , stats_( statsStore_, statsOptions( options, foundation_.identityKeys ) )
    , version_( options.latestVersion.empty() ? GetVXVersionString() : options.latestVersion )
    , site_( options.downloads.empty() ? options.data / "downloads" : options.downloads )
    , health_( *foundation_.database )
    , router_( doors_( options ), counts_ )
{
    if ( bell_ )
        jobs_.connect( *bell_ );
}

void Service::Parts::doChores_()
{
    cleanUp( *foundation_.database, accounts_, mails_ );
    keys_.tend();
}

std::vector<Door> Service::Parts::doors_( const ServiceOptions& options )
{
    std::vector<Door> out{ { "auth", &AuthApi::serves, &auth_, 2, { "/auth" } },
        { "converter", &ConverterApi::serves, &converter_, 2,
            { "/converter/v2/request", "/converter/v2/convert", "/converter/v2/status" } },
        { "statistics", &StatsApi::serves, &stats_, 0, { "/stats/log" } },
        { "version", &VersionApi::serves, &version_, 0, { "/version/latesttag" } },
        { "liveness", &LivenessApi::serves, &liveness_, 0, { "/livez" } },
        { "health", &HealthApi::servesHealth, &health_, 1, { "/healthz" } },
        { "site", &SiteApi::serves, &site_, 1, { "/download" } } };
    if ( auto* store = storage_.embedded() )
        out.push_back( { "storage", [store]( const std::string& path ) { return store->serves( path ); }, store, 2 } );
    // Tokens of another service are signed with its own keys.
    if ( options.identity.gateway.endpoint.empty() )
        out.insert( out.begin(), { "keys", &KeysApi::serves, &publicKeys_, 0, { "/.well-known/jwks.json" } } );
    return out;
}

tl::expected<void, std::string> Service::Parts::open( const ServiceOptions& options )
{
    auto workers = Workers::prepare( options, jobs_, storage_.objects() );
    if ( !workers )
        return tl::unexpected( workers.error() );
    HttpServerOptions http;
    http.address = options.address;
    http.port = options.port;
    http.proxies = foundation_.proxies;
    http.certificateFile = foundation_.certificate.chain;
    http.keyFile = foundation_.certificate.key;
    // What comes later is for a conversion that nobody knows any more.
    http.longestBody = options.keep;
    http.maxConnections = connectionsFor( raiseDescriptorLimit() );
    http.nameRequest = &newRequestName;
    auto server = HttpServer::start( http, router_ );
    if ( !server )
        return tl::unexpected( server.error() );
    server_ = std::move( *server );
    url_ = foundation_.publicUrl.empty() ? "https://localhost:" + std::to_string( server_->port() )
                                         : foundation_.publicUrl;
    certificateWatch_ = std::make_unique<Repeating>( options.choresEvery, [this] { renewCertificate_(); } );
    if ( auto* store = storage_.embedded() )
        store->setEndpoint( url_ );
    workers_ = std::move( *workers );
    workers_->begin();
    return openMonitor_( options );
}

tl::expected<void, std::string> Service::Parts::openMonitor_( const ServiceOptions& options )
{
    health_.askForWorkers( [this] { return workers_->hasWorker(); } );
    if ( options.monitor.empty() )
        return {};
    const auto more = [this]( Figures& figures )
    {
        storage_.tell( figures );
        figures.connections = server_->connections();
    };
    monitor_ = std::make_unique<MonitorListener>( health_, liveness_, counts_,
        std::make_unique<FigureKeeper>(
            *foundation_.database, *foundation_.statistics, options.data, &systemTime, more ) );
    return monitor_->listen( options.monitor );
}

tl::expected<void, std::string> Service::Parts::reloadCertificate()
{
    const std::lock_guard lock( certifying_ );
    return certify_().and_then( [&]( const ServerCertificate& ) { return server_->reloadCertificate(); } );
}

void Service::Parts::renewCertificate_()
{
    const std::lock_guard lock( certifying_ );
    const auto certificate = certify_();
    if ( certificate && !certificate->isNew )
        return;
    const auto renewed = certificate ? server_->reloadCertificate()
                                     : tl::expected<void, std::string>( tl::unexpected( certificate.error() ) );
    if ( !renewed )
        return spdlog::error( "The certificate cannot be renewed: {}", renewed.error() );
    spdlog::info( "The certificate was renewed" );
}

void Service::Parts::drain()
{
    health_.drain();
    converter_.drain();
    workers_->drain();
}

Service::Service( std::unique_ptr<Parts> parts )
    : parts_( std::move( parts ) )
{
}

Service::~Service() = default;

uint16_t Service::port() const
{
    return parts_->server().port();
}

uint16_t Service::monitorPort() const
{
    return parts_->monitorPort();
}

const std::string& Service::url() const
{
    return parts_->url();
}

std::string Service::greeting() const
{
    return "Orvanta back end is ready at " + url();
}

void Service::reload()
{
    if ( const auto reloaded = parts_->reloadCertificate(); !reloaded )
        spdlog::error( "The certificate stays as it was: {}", reloaded.error() );
    else
        spdlog::info( "The certificate was read again" );
}

void Service::drain()
{
    parts_->drain();
}

bool Service::isDrained() const
{
    return parts_->workers().isDrained();
}

tl::expected<void, std::string> Service::check( const ServiceOptions& options )
{
    return Foundation::check( options );
}

tl::expected<std::unique_ptr<Service>, std::string> Service::start( const ServiceOptions& options )
{
    auto foundation = Foundation::lay( options );
    if ( !foundation )
        return tl::unexpected( foundation.error() );
    auto parts = std::make_unique<Parts>( std::move( *foundation ), options );
    if ( const auto opened = parts->open( options ); !opened )
        return tl::unexpected( opened.error() );
    return std::unique_ptr<Service>( new Service( std::move( parts ) ) );
}

} // namespace VX::Backend
