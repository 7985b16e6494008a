#include "http/TrustedProxies.h"

#include <gtest/gtest.h>

using namespace VX::Backend;

namespace
{

std::string clientOf( const std::vector<std::string>& networks, const std::string& peer, const std::string& forwarded )
{
    return TrustedProxies::parse( networks ).value().clientOf( peer, forwarded );
}

} // namespace

TEST( TrustedProxies, AStrangersWordIsNotTaken )
{
    EXPECT_EQ( clientOf( {}, "1.2.3.4", "9.9.9.9" ), "1.2.3.4" );
    EXPECT_EQ( clientOf( { "10.0.0.0/8" }, "1.2.3.4", "9.9.9.9" ), "1.2.3.4" );
}

TEST( TrustedProxies, TheRightMostUntrustedAddressIsTheClients )
{
    EXPECT_EQ( clientOf( { "10.0.0.0/8" }, "10.0.0.1", "9.9.9.9" ), "9.9.9.9" );
    EXPECT_EQ( clientOf( { "10.0.0.0/8" }, "10.0.0.1", "6.6.6.6, 9.9.9.9" ), "9.9.9.9" ) << "the first is forged";
    EXPECT_EQ( clientOf( { "10.0.0.0/8" }, "10.0.0.1", "6.6.6.6,9.9.9.9 , 10.7.7.7" ), "9.9.9.9" );
    EXPECT_EQ( clientOf( { "10.0.0.0/8" }, "10.0.0.1", "9.9.9.9:1234" ), "9.9.9.9" );
    EXPECT_EQ( clientOf( { "10.0.0.0/8" }, "10.0.0.1", "10.7.7.7" ), "10.7.7.7" ) << "a client of one's own network";
}

TEST( TrustedProxies, WhatIsNoAddressNamesNobody )
{
    EXPECT_EQ( clientOf( { "10.0.0.0/8" }, "10.0.0.1", "9.9.9.9, unknown" ), "10.0.0.1" );
    EXPECT_EQ( clientOf( { "10.0.0.0/8" }, "10.0.0.1", "" ), "10.0.0.1" );
    EXPECT_EQ( clientOf( {}, "", "9.9.9.9" ), "" );
}

TEST( TrustedProxies, ThisMachineIsNobodysAddress )
{
    EXPECT_EQ( clientOf( {}, "127.0.0.1", "9.9.9.9" ), "" );
    EXPECT_EQ( clientOf( {}, "::1", "" ), "" );
    EXPECT_EQ( clientOf( { "127.0.0.1" }, "127.0.0.1", "" ), "" );
    EXPECT_EQ( clientOf( { "127.0.0.1" }, "127.0.0.1", "9.9.9.9" ), "9.9.9.9" );
    EXPECT_EQ( clientOf( { "127.0.0.1" }, "127.0.0.2", "9.9.9.9" ), "" );
}

TEST( TrustedProxies, ACustomerOfVersionSixIsANetwork )
{
    EXPECT_EQ( clientOf( {}, "2001:db8:1:2:3:4:5:6", "" ), "2001:db8:1:2::/64" );
    EXPECT_EQ( clientOf( {}, "2001:db8:1:2:3:4:5:6%eth0", "" ), "2001:db8:1:2::/64" );
    EXPECT_EQ( clientOf( {}, "::ffff:1.2.3.4", "" ), "1.2.3.4" );
    EXPECT_EQ( clientOf( { "fd00::/8" }, "fd00::1", "[2001:db8:1:2::9]:80" ), "2001:db8:1:2::/64" );
    EXPECT_EQ( clientOf( { "10.0.0.0/8" }, "::ffff:10.0.0.1", "9.9.9.9" ), "9.9.9.9" );
}

TEST( TrustedProxies, NetworksAreReadBitByBit )
{
    EXPECT_EQ( clientOf( { "10.0.0.128/25" }, "10.0.0.129", "9.9.9.9" ), "9.9.9.9" );
    EXPECT_EQ( clientOf( { "10.0.0.128/25" }, "10.0.0.127", "9.9.9.9" ), "10.0.0.127" );
    EXPECT_EQ( clientOf( { "0.0.0.0/0" }, "4.4.4.4", "9.9.9.9" ), "9.9.9.9" );
    EXPECT_EQ( clientOf( { "0.0.0.0/0" }, "2001:db8::1", "9.9.9.9" ), "2001:db8::/64" );
    for ( const char* text :
        { "", "x", "10.0.0.0/33", "10.0.0.0/-1", "10.0.0.0/", "10.0.0.0/8x", "fd00::/129", "10.0.0" } )
    {
        const auto parsed = TrustedProxies::parse( { text } );
        ASSERT_FALSE( parsed ) << text;
        EXPECT_NE( parsed.error().find( '"' + std::string( text ) + '"' ), std::string::npos );
    }
}
