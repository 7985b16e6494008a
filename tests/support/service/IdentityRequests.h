#pragma once

#include <VXMesh/io/Json.h>
#include <VXOrvanta/account/Cognito.h>
#include <VXViewer/web/ScriptedTransport.h>

#include <vector>

namespace VX::Testing
{

/// What was sent to the identity service, oldest first.
[[nodiscard]] inline std::vector<WebRequestData> identityRequests( const ScriptedTransport& transport )
{
    std::vector<WebRequestData> out;
    for ( const auto& request : transport.sent() )
        if ( request.url == Cognito::cAuthUrl )
            out.push_back( request );
    return out;
}

/// The body of the newest of them; null when there is none.
[[nodiscard]] inline Json::Value bodyOfLast( const std::vector<WebRequestData>& requests )
{
    return requests.empty() ? Json::Value() : deserializeJsonValue( requests.back().body ).value_or( Json::Value() );
}

} // namespace VX::Testing
