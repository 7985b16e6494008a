#include <VXOrvanta/welcome/SitePages.h>

namespace VX
{

std::string downloadPage()
{
    return std::string( ORVANTA_SITE_URL ) + "/download";
}

std::string onboardingVideoPage()
{
    return std::string( ORVANTA_SITE_URL ) + "/inappvideo/onboarding_first_session";
}

} // namespace VX
