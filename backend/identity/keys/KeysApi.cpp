#include "identity/keys/KeysApi.h"

#include "text/JsonText.h"

namespace VX::Backend
{

BodyPlan KeysApi::planBody( const HttpRequest& head )
{
    return planReading( head );
}

void KeysApi::handle( HttpRequest /*request*/, Respond respond )
{
    HttpResponse out;
    out.body = compactJson( tokens_.publicKeys() );
    respond( std::move( out ) );
}

} // namespace VX::Backend
