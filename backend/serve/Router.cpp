#include "serve/Router.h"

#include "identity/AuthApi.h"

#include <algorithm>

namespace VX::Backend
{
namespace
{

BodyPlan nothingHere( const std::string& path )
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

} // namespace

Router::Router( std::vector<Door> doors, RequestCounts& counts )
    : doors_( std::move( doors ) )
    , counts_( counts )
{
}

BodyPlan Router::planBody( const HttpRequest& head )
{
    const auto* door = doorOf_( head.path );
    auto plan = door ? door->handler->planBody( head ) : nothingHere( head.path );
    if ( plan.refusal )
        counts_.add( door ? door->name : "none", plan.refusal->status );
    return plan;
}

void Router::handle( HttpRequest request, Respond respond )
{
    const auto* door = doorOf_( request.path );
    door->handler->handle( std::move( request ),
        [this, name = door->name, respond = std::move( respond )]( HttpResponse response )
        {
            counts_.add( name, response.status );
            respond( std::move( response ) );
        } );
}

HttpResponse Router::refuse( const std::string& path, int status )
{
    const auto* door = doorOf_( path );
    counts_.add( door ? door->name : "none", status );
    return door ? door->handler->refuse( path, status ) : HttpHandler::refuse( path, status );
}

const Door* Router::doorOf_( const std::string& path ) const
{
    const auto found = std::find_if( doors_.begin(), doors_.end(), [&]( const Door& d ) { return d.serves( path ); } );
    return found == doors_.end() ? nullptr : &*found;
}

} // namespace VX::Backend
