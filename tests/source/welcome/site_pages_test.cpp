#include <VXOrvanta/welcome/SitePages.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

constexpr const char* cScheme = "https://";

/// What follows the host, which the build decides.
std::string pathOf( const std::string& url )
{
    const auto slash = url.find( '/', std::string( cScheme ).size() );
    return slash == std::string::npos ? "" : url.substr( slash );
}

std::string hostOf( const std::string& url )
{
    return url.substr( 0, url.size() - pathOf( url ).size() );
}

} // namespace

TEST( SitePages, StandWhereTheSiteHasThem )
{
    EXPECT_TRUE( downloadPage().starts_with( cScheme ) );
    EXPECT_EQ( pathOf( downloadPage() ), "/download" );
    EXPECT_EQ( pathOf( onboardingVideoPage() ), "/inappvideo/onboarding_first_session" );
    EXPECT_EQ( hostOf( downloadPage() ), hostOf( onboardingVideoPage() ) );
    EXPECT_EQ( hostOf( downloadPage() ).find( '~' ), std::string::npos );
}
