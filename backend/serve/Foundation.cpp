#include "serve/Foundation.h"

#include "clock/SystemTime.h"
#include "converter/Bubblewrap.h"
#include "converter/ConversionJobs.h"
#include "database/DataPlace.h"
#include "database/postgres/PostgresEngine.h"
#include "http/HttpServer.h"
#include "identity/Accounts.h"
#include "identity/KeptLimit.h"
#include "identity/gateway/GatewayNames.h"
#include "identity/keys/KeyStores.h"
#include "mail/MailQueue.h"
#include "serve/MonitorListener.h"
#include "statistics/StatsStore.h"
#include "text/Uri.h"

namespace VX::Backend
{
namespace
{

/// What clients call the service, as far as the options tell.
std::vector<std::string> hostsOf( const ServiceOptions& options )
{
    std::vector<std::string> out{ hostNameOf( options.publicUrl ) };
    if ( options.address != "0.0.0.0" && options.address != "::" )
        out.push_back( options.address );
    return out;
}

/// Whether it is a scheme with a host, and nothing behind that.
bool isAddress( const std::string& url, std::string_view scheme )
{
    return url.starts_with( scheme ) && url.size() > scheme.size() &&
           url.find_first_of( "/?#@ ", scheme.size() ) == std::string::npos;
}

tl::expected<std::string, std::string> publicUrlOf( const ServiceOptions& options )
{
    auto url = options.publicUrl;
    while ( url.ends_with( '/' ) )
        url.pop_back();
    if ( !url.empty() && !isAddress( url, "https://" ) )
        return tl::unexpected( "\"" + options.publicUrl + "\" is no address such as https://convert.example.org" );
    return url;
}

tl::expected<void, std::string> checkStore( const StoreOptions& store )
{
    // What is signed is scheme, host and port, and then the path of the object.
    for ( const auto& url : { store.endpoint, store.publicEndpoint } )
        if ( !url.empty() && !isAddress( url, "https://" ) && !isAddress( url, "http://" ) )
            return tl::unexpected( "\"" + url + "\" is no address such as https://storage.example.org" );
    if ( store.endpoint.empty() )
        return {};
    return foreignStoreKeys().map( []( const StoreKeys& ) {} );
}

tl::expected<StoreKeys, std::string> storeKeysOf( const ServiceOptions& options )
{
    if ( options.store.endpoint.empty() )
        return ensureStoreKeys( options.data );
    return foreignStoreKeys().map(
        [&]( StoreKeys keys )
        {
            keys.credentials.region = options.store.region;
            return keys;
        } );
}

tl::expected<void, std::string> checkSandbox( const ServiceOptions& options )
{
    if ( options.withoutSandbox || canUseBubblewrap( true ) )
        return {};
    return tl::unexpected( std::string(
        "bubblewrap cannot be used here, and strangers' files are not converted without it: install it and "
        "allow namespaces of users, or take the risk with --without-sandbox" ) );
}

tl::expected<void, std::string> checkDatabase( const ServiceOptions& options )
{
    return options.database.empty() ? tl::expected<void, std::string>() : PostgresEngine::check( options.database );
}

/// Nobody else brings the same tables to another version meanwhile.
tl::expected<void, std::string> prepareAll( Database& database, Database& statistics )
{
    const auto held = database.engine().holdTables();
    const auto prepared =
        held.map( []( const auto& ) {} ).and_then( [&] { return prepareTables( database, statistics ); } );
    return prepared.map_error( []( const DatabaseError& error ) { return error.text; } );
}

/// What is so for whoever works for a service, too.
tl::expected<void, std::string> checkShared( const ServiceOptions& options )
{
    if ( options.slots == 0 && ( options.database.empty() || options.store.endpoint.empty() ) )
        return tl::unexpected( std::string(
            "With --slots 0 others convert, with whom the service shares --database and --store-endpoint" ) );
    return MonitorListener::check( options.monitor )
        .and_then( [&] { return checkDatabase( options ); } )
        .and_then( [&] { return checkStore( options.store ); } )
        .and_then( [&] { return options.slots == 0 ? tl::expected<void, std::string>() : checkSandbox( options ); } );
}

/// Puts a value that may be missing into its place.
template <typename T>
auto into( T& place )
{
    return [&place]( T value ) { place = std::move( value ); };
}

} // namespace

DatabaseResult<void> prepareTables( Database& database, Database& statistics )
{
    return ConversionJobs::prepare( database )
        .and_then( [&] { return Accounts::prepare( database ); } )
        .and_then( [&] { return KeptLimit::prepare( database ); } )
        .and_then( [&] { return GatewayNames::prepare( database ); } )
        .and_then( [&] { return MailQueue::prepare( database ); } )
        .and_then( [&] { return prepareKeys( database ); } )
        .and_then( [&] { return StatsStore( statistics, &systemTime ).takeOver( database ); } );
}

tl::expected<ServerCertificate, std::string> Foundation::certificateOf( const ServiceOptions& options )
{
    if ( options.tlsCertificate.empty() )
        return ensureCertificate( options.data, { hostsOf( options ) } );
    return ServerCertificate{ {}, options.tlsCertificate, options.tlsKey };
}

tl::expected<void, std::string> Foundation::check( const ServiceOptions& options )
{
    HttpServerOptions http;
    http.address = options.address;
    http.certificateFile = options.tlsCertificate;
    http.keyFile = options.tlsKey;
    return publicUrlOf( options )
        .and_then( [&]( const std::string& ) { return TrustedProxies::parse( options.trustedProxies ); } )
        .and_then( [&]( const TrustedProxies& ) { return HttpServer::check( http ); } )
        .and_then( [&] { return checkShared( options ); } );
}

tl::expected<void, std::string> Foundation::layData_( const ServiceOptions& options )
{
    return prepareDataFolder( options.data )
        .and_then( [&] { return FolderLock::take( options.data ); } )
        .map( into( lock ) )
        .and_then( [&] { return storeKeysOf( options ); } )
        .map( into( storeKeys ) )
        .and_then( [&] { return openMain( { options.data, options.database } ); } )
        .map( into( database ) )
        .and_then( [&] { return openStatistics( { options.data, options.database } ); } )
        .map( into( statistics ) )
        .and_then( [&] { return prepareAll( *database, *statistics ); } );
}

tl::expected<Foundation, std::string> Foundation::lay( const ServiceOptions& options )
{
    Foundation out;
    return check( options )
        .and_then( [&] { return publicUrlOf( options ); } )
        .map( into( out.publicUrl ) )
        .and_then( [&] { return TrustedProxies::parse( options.trustedProxies ); } )
        .map( into( out.proxies ) )
        .and_then( [&] { return out.layData_( options ); } )
        .and_then( [&] { return certificateOf( options ); } )
        .map( into( out.certificate ) )
        .map( [&] { out.keyStore = keyStoreOf( options.data, *out.database ); } )
        .and_then( [&] { return out.keyStore->ensure( systemTime() ); } )
        .map( into( out.identityKeys ) )
        .map( [&] { return std::move( out ); } );
}

tl::expected<Foundation, std::string> Foundation::layShared( const ServiceOptions& options )
{
    Foundation out;
    return checkShared( options )
        .and_then( [&] { return out.layData_( options ); } )
        .map( [&] { return std::move( out ); } );
}

} // namespace VX::Backend
