#pragma once

#include "http/HttpService.h"

#include <filesystem>
#include <string>
#include <vector>

namespace VX::Backend
{

/// The few pages that the program opens in a browser: "/inappvideo/onboarding_first_session", a tour for a first
/// session, and "/download", the Debian packages of one folder. They need nothing from elsewhere, and their headers
/// forbid it.
class SiteApi final : public HttpService
{
public:
    /// The folder may come and go; only packages that lie in it itself are served.
    explicit SiteApi( std::filesystem::path downloads )
        : downloads_( std::move( downloads ) )
    {
    }

    [[nodiscard]] static bool serves( const std::string& path );
    [[nodiscard]] BodyPlan planBody( const HttpRequest& head ) override;
    void handle( HttpRequest request, Respond respond ) override;

private:
    struct Package
    {
        std::string name;
        uint64_t size = 0;
    };
    /// The newest names first.
    [[nodiscard]] std::vector<Package> packages_() const;
    [[nodiscard]] HttpResponse downloadPage_() const;
    [[nodiscard]] HttpResponse package_( const std::string& name ) const;

    std::filesystem::path downloads_;
};

} // namespace VX::Backend
