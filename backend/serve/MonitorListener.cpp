#include "serve/MonitorListener.h"

#include "crypto/Hex.h"

#include <charconv>

namespace VX::Backend
{
namespace
{

tl::expected<HttpServerOptions, std::string> optionsOf( const std::string& where )
{
    HttpServerOptions out;
    out.plain = true;
    out.threads = out.fileThreads = 1;
    out.maxConnections = 64;
    out.nameRequest = &newRequestName;
    const auto colon = where.rfind( ':' );
    const auto port = colon == std::string::npos ? std::string() : where.substr( colon + 1 );
    const auto [end, error] = std::from_chars( port.data(), port.data() + port.size(), out.port );
    if ( port.empty() || error != std::errc() || end != port.data() + port.size() )
        return tl::unexpected( "\"" + where + "\" is no listener such as 127.0.0.1:8444" );
    out.address = where.substr( 0, colon );
    if ( out.address.starts_with( '[' ) && out.address.ends_with( ']' ) )
        out.address = out.address.substr( 1, out.address.size() - 2 );
    return HttpServer::check( out ).map( [&] { return out; } );
}

} // namespace

MonitorListener::MonitorListener(
    HealthApi& health, LivenessApi& liveness, RequestMeasures& requests, std::unique_ptr<FigureKeeper> figures )
    : figures_( std::move( figures ) )
    , metrics_( requests, *figures_ )
    , router_( { { "liveness", &LivenessApi::serves, &liveness, 0, { "/livez" } },
                   { "metrics", &MetricsApi::serves, &metrics_, 1, { "/metrics" } },
                   { "health", &HealthApi::servesBoth, &health, 1, { "/healthz", "/readyz" } } },
          requests )
{
}

MonitorListener::~MonitorListener()
{
    router_.stop();
}

tl::expected<void, std::string> MonitorListener::listen( const std::string& where )
{
    const auto options = optionsOf( where );
    if ( !options )
        return tl::unexpected( options.error() );
    auto server = HttpServer::start( *options, router_ );
    if ( !server )
        return tl::unexpected( server.error() );
    server_ = std::move( *server );
    return {};
}

tl::expected<void, std::string> MonitorListener::check( const std::string& where )
{
    return where.empty() ? tl::expected<void, std::string>()
                         : optionsOf( where ).map( []( const HttpServerOptions& ) {} );
}

std::string newRequestName()
{
    constexpr size_t cBytes = 8;
    return randomHex( cBytes );
}

} // namespace VX::Backend
