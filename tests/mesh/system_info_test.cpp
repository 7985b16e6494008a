#include <VXMesh/system/SystemInfo.h>

#include <gtest/gtest.h>

#include <regex>

using namespace VX;

TEST( SystemInfo, VersionHasFourNumbers )
{
    EXPECT_TRUE( std::regex_match( GetVXVersionString(), std::regex( R"(\d+\.\d+\.\d+\.\d+)" ) ) );
}

TEST( SystemInfo, SystemNameHasNoSpaces )
{
    EXPECT_TRUE( getOSNoSpaces().starts_with( "Linux_" ) );
    EXPECT_EQ( getOSNoSpaces().find( ' ' ), std::string::npos );
}

TEST( SystemInfo, HoldsNoNameOfPersonOrHost )
{
    const auto info = GetSystemInfoJson();
    EXPECT_EQ( info.getMemberNames(), ( std::vector<std::string>{ "CPU", "Cores", "OS", "RAM", "Version" } ) );
}
