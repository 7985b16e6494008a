#pragma once

#include "http/HttpService.h"

namespace VX::Backend
{

/// "/version/latesttag": the newest release, as plain text.
class VersionApi final : public HttpService
{
public:
    explicit VersionApi( std::string latest )
        : latest_( std::move( latest ) )
    {
    }

    [[nodiscard]] static bool serves( const std::string& path ) { return path == "/version/latesttag"; }
    [[nodiscard]] BodyPlan planBody( const HttpRequest& head ) override;
    void handle( HttpRequest request, Respond respond ) override;

private:
    std::string latest_;
};

} // namespace VX::Backend
