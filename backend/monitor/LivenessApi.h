#pragma once

#include "http/HttpService.h"

namespace VX::Backend
{

/// "/livez": whether the process can still answer at all. It asks nothing and nobody, so that whoever watches it starts
/// the service anew only where that helps.
class LivenessApi final : public HttpService
{
public:
    [[nodiscard]] static bool serves( const std::string& path ) { return path == "/livez"; }
    [[nodiscard]] BodyPlan planBody( const HttpRequest& head ) override;
    void handle( HttpRequest request, Respond respond ) override;
};

} // namespace VX::Backend
