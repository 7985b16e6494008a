#pragma once

#include "identity/IdentityService.h"

namespace VX::Backend
{

/// Refusals of more than one operation.
[[nodiscard]] inline HttpResponse notAuthorized( const std::string& message )
{
    return authFailure( "NotAuthorizedException", message );
}

[[nodiscard]] inline HttpResponse invalidParameter( const std::string& message )
{
    return authFailure( "InvalidParameterException", message );
}

[[nodiscard]] inline HttpResponse limitExceeded()
{
    return authFailure( "LimitExceededException", "Attempt limit exceeded, please try after some time." );
}

} // namespace VX::Backend
