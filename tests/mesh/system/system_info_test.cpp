#include <VXMesh/system/SystemInfo.h>

#include <gtest/gtest.h>

#include <algorithm>

using namespace VX;

TEST( SystemInfo, VersionHasFourNumbers )
{
    // The builds that are tested have a suffix behind them.
    const auto version = GetVXVersionString().substr( 0, GetVXVersionString().find( ' ' ) );
    EXPECT_EQ( version.find_first_not_of( "0123456789." ), std::string::npos );
    EXPECT_EQ( std::count( version.begin(), version.end(), '.' ), 3 );
}

TEST( SystemInfo, SystemNameHasNoSpaces )
{
    EXPECT_TRUE( getOSNoSpaces().starts_with( "Linux_" ) );
    EXPECT_EQ( getOSNoSpaces().find( ' ' ), std::string::npos );
}

TEST( SystemInfo, HoldsNoNameOfPersonOrHost )
{
    const auto info = GetMachineInfoJson();
    EXPECT_EQ( info.getMemberNames(), ( std::vector<std::string>{ "CPU Info", "Memory Info", "OS Version" } ) );
    EXPECT_TRUE( info["CPU Info"]["Concurrent threads"].isUInt() );
    const auto memory = info["Memory Info"]["Physical memory total MB"].asString();
    EXPECT_EQ( memory.find_first_not_of( "0123456789" ), std::string::npos ) << memory;
}
