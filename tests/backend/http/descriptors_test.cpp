#include "http/Descriptors.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

using namespace VX::Backend;

TEST( Descriptors, ConnectionsLeaveSomeForTheRest )
{
    EXPECT_EQ( connectionsFor( 1024 ), 384u );
    EXPECT_EQ( connectionsFor( 8192 ), 3968u );
    EXPECT_EQ( connectionsFor( 1'000'000'000 ), 4096u );
    EXPECT_EQ( connectionsFor( 0 ), 16u );
}

TEST( Descriptors, TheLimitIsRaisedAsFarAsAllowed )
{
    rlimit before{};
    ASSERT_EQ( ::getrlimit( RLIMIT_NOFILE, &before ), 0 );
    const rlimit low{ 200, before.rlim_max };
    ASSERT_EQ( ::setrlimit( RLIMIT_NOFILE, &low ), 0 );
    EXPECT_EQ( raiseDescriptorLimit(), before.rlim_max );
    rlimit after{};
    ASSERT_EQ( ::getrlimit( RLIMIT_NOFILE, &after ), 0 );
    EXPECT_EQ( after.rlim_cur, before.rlim_max );
    ::setrlimit( RLIMIT_NOFILE, &before );
}
