#include "support/LogCapture.h"
#include "support/service/IdentityFixture.h"

using namespace VX;
using namespace VX::Testing;

namespace
{

/// What tells a client that nothing is known about its request: it takes this for a bad connection and tries again.
void expectNoVerdict( const HttpResponse& response )
{
    EXPECT_EQ( response.status, 500 );
    EXPECT_EQ( response.body, R"({"__type":"InternalErrorException"})" );
    EXPECT_EQ( response.headers.at( "x-amzn-ErrorType" ), "InternalErrorException" );
}

} // namespace

TEST_F( Identity, ARefreshThatCannotBeLookedUpIsNoVerdict )
{
    addAnn();
    const auto token = json( signIn() )["AuthenticationResult"]["RefreshToken"].asString();
    const LogCapture log;
    ASSERT_TRUE( database_->execute( "ALTER TABLE refresh_tokens RENAME TO away" ) );
    expectNoVerdict( refresh( token ) );
    EXPECT_TRUE( log.contains( noSuchTable( "refresh_tokens" ) ) );
    ASSERT_TRUE( database_->execute( "ALTER TABLE away RENAME TO refresh_tokens" ) );
    EXPECT_EQ( problem( refresh( token ) ), "" );
}

TEST_F( Identity, AnAccountThatCannotBeLookedUpIsNoVerdict )
{
    addAnn();
    const auto access = json( signIn() )["AuthenticationResult"]["AccessToken"].asString();
    const LogCapture log;
    ASSERT_TRUE( database_->execute( "ALTER TABLE accounts RENAME TO away" ) );
    expectNoVerdict( signIn() );
    expectNoVerdict( signUp() );
    expectNoVerdict( signUp( "bob@example.org" ) );
    expectNoVerdict( confirm( "123456" ) );
    expectNoVerdict( resend() );
    expectNoVerdict( forgot() );
    expectNoVerdict( confirmForgot( "123456", "other-word-2" ) );
    expectNoVerdict( call( "GetUser", object( { { "AccessToken", access } } ) ) );
    EXPECT_EQ( accessOf( access ).verdict, AccessCheck::Verdict::Unknown );
    ASSERT_TRUE( database_->execute( "ALTER TABLE away RENAME TO accounts" ) );
    EXPECT_TRUE( mayEnter( access ) );
    EXPECT_EQ( problem( signIn() ), "" );
}

TEST_F( Identity, AGuessThatCannotBeCountedIsToldNothing )
{
    addAnn();
    const LogCapture log;
    refuseWrites( *database_, "INSERT", "sign_in_failures" );
    for ( int i = 0; i < 8; ++i )
        expectNoVerdict( signIn( "wrong-word-1" ) );
    EXPECT_EQ( problem( signIn() ), "" );
}

TEST_F( Identity, WhatCannotBeWrittenIsNotAcknowledged )
{
    addAnn();
    ASSERT_EQ( problem( forgot() ), "" );
    const auto code = mailedCode();
    const LogCapture log;
    refuseWrites( *database_, "INSERT", "refresh_tokens" );
    refuseWrites( *database_, "UPDATE", "accounts" );
    expectNoVerdict( signIn() );
    expectNoVerdict( confirmForgot( code, "other-word-2" ) );
    allowWrites( *database_, "INSERT", "refresh_tokens" );
    allowWrites( *database_, "UPDATE", "accounts" );
    EXPECT_EQ( problem( signIn() ), "" ) << "the old password is the right one";
    EXPECT_EQ( problem( confirmForgot( code, "other-word-2" ) ), "" ) << "and the code was not used up";
}
