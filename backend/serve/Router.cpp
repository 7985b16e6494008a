#include "serve/Router.h"

#include "identity/AuthApi.h"
#include "log/LogContext.h"
#include "log/LogEvent.h"

#include <algorithm>

namespace VX::Backend
{
namespace
{

BodyPlan nothingHere( const std::string& path )
{
    BodyPlan plan;
    // Programs that sign in look for the text at the top.
    const auto text = "There is nothing here";
    plan.refusal =
        path.starts_with( "/auth" ) ? authFailure( "ResourceNotFoundException", text, 404 ) : failure( 404, text );
    return plan;
}

/// A client may call its method anything.
std::string knownMethod( const std::string& method )
{
    for ( const char* known : { "GET", "HEAD", "POST", "PUT", "DELETE", "OPTIONS", "PATCH" } )
        if ( method == known )
            return method;
    return "other";
}

} // namespace

Router::Router( const std::vector<Door>& doors, RequestMeasures& counts )
    : counts_( counts )
{
    for ( const auto& door : doors )
        entrances_.emplace_back( door );
}

void Router::plan( HttpRequest head, Planned planned )
{
    auto* entrance = entranceOf_( head.path );
    if ( !entrance )
    {
        auto plan = nothingHere( head.path );
        counts_.add( "none", plan.refusal->status );
        return planned( std::move( plan ) );
    }
    const auto counted = [this, name = entrance->door.name, planned = std::move( planned )]( BodyPlan plan )
    {
        if ( plan.refusal )
            counts_.add( name, plan.refusal->status );
        planned( std::move( plan ) );
    };
    const auto path = head.path;
    const LogContext context( head.id );
    call_(
        *entrance, path, [head = std::move( head ), counted]( HttpService& service ) { service.plan( head, counted ); },
        [counted]( HttpResponse refusal )
        {
            BodyPlan plan;
            plan.refusal = std::move( refusal );
            counted( std::move( plan ) );
        } );
}

void Router::handle( HttpRequest request, Respond respond )
{
    auto& entrance = *entranceOf_( request.path );
    const auto counted = [this, name = entrance.door.name, respond = std::move( respond )]( HttpResponse response )
    {
        counts_.add( name, response.status );
        respond( std::move( response ) );
    };
    const auto path = request.path;
    const LogContext context( request.id );
    call_(
        entrance, path, [request = std::move( request ), counted]( HttpService& service ) mutable
        { service.handle( std::move( request ), counted ); }, counted );
}

void Router::call_(
    Entrance& entrance, const std::string& path, std::function<void( HttpService& )> call, const Respond& refused )
{
    auto& service = *entrance.door.service;
    auto work = [this, &service, path, call = std::move( call ), refused]
    {
        if ( stopping_ )
            return refused( service.refuse( path, 503 ) );
        if ( !isCalled( [&] { call( service ); } ) )
            refused( service.refuse( path, 500 ) );
    };
    if ( entrance.door.threads == 0 )
        work();
    else
        // All clients are one owner: whoever comes first is served first.
        entrance.pool.run(
            {}, { std::move( work ), [&service, path, refused] { refused( service.refuse( path, 503 ) ); } } );
}

HttpResponse Router::refuse( const std::string& path, int status )
{
    auto* entrance = entranceOf_( path );
    counts_.add( entrance ? entrance->door.name : "none", status );
    return entrance ? entrance->door.service->refuse( path, status ) : HttpHandler::refuse( path, status );
}

void Router::ended( const RequestEnd& end )
{
    const auto* entrance = entranceOf_( end.request.path );
    const std::string service = entrance ? entrance->door.name : "none";
    counts_.addDuration( service, end.request.method, end.status, end.duration );
    std::string route;
    if ( entrance )
        for ( const auto& known : entrance->door.routes )
            route = known == end.request.path ? known : route;
    const LogContext context( end.request.id );
    logEvent(
        "request", { { "service", service }, { "route", route }, { "method", knownMethod( end.request.method ) },
                       { "status", end.status }, { "duration", std::chrono::duration<double>( end.duration ).count() },
                       { "received", end.received }, { "sent", end.sent } } );
}

void Router::stop()
{
    stopping_ = true;
    // All at once, so that it lasts as long as the longest call alone.
    for ( auto& entrance : entrances_ )
        entrance.pool.refuseAll();
    for ( auto& entrance : entrances_ )
        entrance.pool.stop();
}

Router::Entrance* Router::entranceOf_( const std::string& path )
{
    const auto found = std::find_if(
        entrances_.begin(), entrances_.end(), [&]( const Entrance& e ) { return e.door.serves( path ); } );
    return found == entrances_.end() ? nullptr : &*found;
}

} // namespace VX::Backend
