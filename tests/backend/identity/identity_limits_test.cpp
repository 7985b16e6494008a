#include "support/service/IdentityFixture.h"

#include "crypto/Base64.h"
#include "crypto/Hex.h"

#include <fmt/format.h>

using namespace VX;
using namespace VX::Testing;

namespace
{

constexpr const char* cLocked = "NotAuthorizedException: Password attempts exceeded";

} // namespace

TEST_F( Identity, AChangedPasswordEndsAccessTokensToo )
{
    addAnn();
    const auto old = json( signIn() )["AuthenticationResult"]["AccessToken"].asString();
    ASSERT_EQ( problem( forgot() ), "" );
    EXPECT_TRUE( mayEnter( old ) );
    ASSERT_EQ( problem( confirmForgot( mailedCode(), "other-word-2" ) ), "" );
    EXPECT_FALSE( mayEnter( old ) );
    EXPECT_EQ( problem( call( "GetUser", object( { { "AccessToken", old } } ) ) ),
        "NotAuthorizedException: Invalid Access Token" );
    // In the very same second.
    EXPECT_TRUE( mayEnter( json( signIn( "other-word-2" ) )["AuthenticationResult"]["AccessToken"].asString() ) );
}

TEST_F( Identity, OtherKeysEndAllSignIns )
{
    addAnn();
    const auto result = json( signIn() )["AuthenticationResult"];
    Account account;
    Accounts sameKeys( *database_, keys_.codes, clock_ );
    EXPECT_EQ( sameKeys.checkRefreshToken( result["RefreshToken"].asString(), account ).value(), RefreshCheck::Good );
    Accounts otherKeys( *database_, std::string( 32, 'k' ), clock_ );
    EXPECT_EQ(
        otherKeys.checkRefreshToken( result["RefreshToken"].asString(), account ).value(), RefreshCheck::Invalid );
}

TEST_F( Identity, ARevokedTokenEndsItsSignInAndNoOther )
{
    addAnn();
    const auto first = json( signIn() )["AuthenticationResult"], second = json( signIn() )["AuthenticationResult"];
    const auto token = first["RefreshToken"].asString();
    EXPECT_EQ( problem( revoke( first["AccessToken"].asString() ) ),
        "UnsupportedTokenTypeException: Only refresh tokens can be revoked." );
    EXPECT_EQ( problem( revoke( "" ) ), "InvalidParameterException: Missing required parameter Token" );
    EXPECT_EQ( problem( revoke( "none-of-ours" ) ), "" );
    EXPECT_EQ( problem( refresh( token ) ), "" );
    const auto revoked = revoke( token );
    EXPECT_EQ( problem( revoked ), "" );
    EXPECT_EQ( revoked.body, "{}" );
    EXPECT_EQ( problem( refresh( token ) ), "NotAuthorizedException: Invalid Refresh Token." );
    EXPECT_EQ( problem( revoke( token ) ), "" ) << "once more";
    EXPECT_EQ( problem( refresh( second["RefreshToken"].asString() ) ), "" );
}

TEST_F( Identity, AccountsOfAnOlderVersionAreTakenOver )
{
    addAnn();
    const auto token = json( signIn() )["AuthenticationResult"]["AccessToken"].asString();
    // As older versions kept a refresh token: a hash without a key.
    ASSERT_TRUE( database_->execute(
        "INSERT INTO refresh_tokens SELECT ?, id, ? FROM accounts", { hex( sha256( "old" ) ), now_.load() + 1 } ) );
    ASSERT_TRUE( executeAll( *database_, { "ALTER TABLE accounts DROP COLUMN generation" } ) );
    ASSERT_TRUE( Accounts::prepare( *database_ ) );
    EXPECT_EQ( problem( signIn() ), "" );
    EXPECT_TRUE( mayEnter( token ) );
    EXPECT_EQ( problem( refresh( "old" ) ), "" );
}

TEST_F( Identity, TenWrongGuessesADayOverAllCodesAlsoAfterARestart )
{
    addAnn();
    for ( int mail = 0; mail < 2; ++mail )
    {
        ASSERT_EQ( problem( forgot() ), "" );
        for ( int i = 0; i < 5; ++i )
            EXPECT_EQ( problem( confirmForgot( wrong( mailedCode() ), "other-word-2" ) ), cMismatch );
        now_ += 3600; // a new code is the only one that is alive
    }
    ASSERT_EQ( problem( forgot() ), "" );
    EXPECT_EQ( problem( confirmForgot( mailedCode(), "other-word-2" ) ), cLimit ) << "not even the right one";
    const auto id = accounts_.find( cAnn ).value()->id;
    Accounts afterARestart( *database_, keys_.codes, clock_ );
    EXPECT_EQ( afterARestart.takeCode( id, { CodePurpose::Reset }, mailedCode() ).value(), CodeCheck::TooManyTries );
    now_ += 24 * 3600;
    ASSERT_EQ( problem( forgot() ), "" );
    EXPECT_EQ( problem( confirmForgot( mailedCode(), "other-word-2" ) ), "" );
}

TEST_F( Identity, AConfirmationTellsNobodyWhoHasAnAccount )
{
    addAnn();
    EXPECT_EQ( problem( confirm( "123456" ) ), cExpiredCode ) << "confirmed";
    EXPECT_EQ( problem( confirm( "123456", "nobody@example.org" ) ), cExpiredCode ) << "unknown";
    for ( int i = 2; i < 100; ++i )
        ASSERT_EQ( problem( confirm( "123456", fmt::format( "u{}@example.org", i ) ) ), cExpiredCode ) << i;
    EXPECT_EQ( problem( confirm( "123456", "one-more@example.org" ) ), cLimit );
    EXPECT_EQ( problem( confirm( "123456", "nobody@example.org", "elsewhere" ) ), cExpiredCode );
    now_ += 3600;
    EXPECT_EQ( problem( confirm( "123456", "nobody@example.org" ) ), cExpiredCode );
}

TEST_F( Identity, UnknownAccountsUseUpNobodysMails )
{
    for ( int i = 0; i < 90; ++i )
        (void)forgot( fmt::format( "u{}@example.org", i ) );
    EmbeddedIdentityOptions few;
    few.mailsPerHour = 1;
    EmbeddedIdentity identity( *database_, accounts_, tokens_, mails_, few, clock_ );
    const auto ask = [&]( const char* operation, const std::string& name )
    {
        Json::Value body;
        body["Username"] = name;
        body["Password"] = cPassword;
        return problem( identity.answer( { operation, body, "here" } ) );
    };
    EXPECT_EQ( ask( "ForgotPassword", "nobody@example.org" ), "UserNotFoundException: User does not exist." );
    EXPECT_EQ( ask( "SignUp", "bob@example.org" ), "" ) << "the one mail is still to be had";
    EXPECT_EQ( ask( "SignUp", "eve@example.org" ), cLimit );
}

TEST_F( Identity, AClientWithoutAnAddressIsLimitedByAccountAlone )
{
    for ( int i = 0; i < 110; ++i )
        ASSERT_EQ( problem( confirm( "123456", fmt::format( "u{}@example.org", i ), "" ) ), cExpiredCode ) << i;
}

TEST_F( Identity, ACodeMustBeGiven )
{
    constexpr const char* cMissing = "InvalidParameterException: Missing required parameter ConfirmationCode";
    EXPECT_EQ( problem( call( "ConfirmSignUp", object( { { "Username", cAnn } } ) ) ), cMissing );
    EXPECT_EQ(
        problem( call( "ConfirmForgotPassword", object( { { "Username", cAnn }, { "Password", "other-word-2" } } ) ) ),
        cMissing );
}

TEST_F( Identity, UserSubIsAUuidAndTheOneOfTheTokens )
{
    const auto id = json( signUp() )["UserSub"].asString();
    ASSERT_EQ( id.size(), 36u );
    for ( size_t i = 0; i < id.size(); ++i )
        EXPECT_EQ( id[i] == '-', i == 8 || i == 13 || i == 18 || i == 23 ) << id;
    EXPECT_EQ( id.find_first_not_of( "0123456789abcdef-" ), std::string::npos );
    ASSERT_EQ( problem( confirm( mailedCode() ) ), "" );
    const auto token = json( signIn() )["AuthenticationResult"]["AccessToken"].asString();
    const auto claims =
        fromBase64Url( token.substr( token.find( '.' ) + 1, token.rfind( '.' ) - token.find( '.' ) - 1 ) );
    EXPECT_EQ( deserializeJsonValue( claims.value() ).value()["sub"], id );
}

TEST_F( Identity, OthersFailuresLockNobodyOut )
{
    addAnn();
    for ( int i = 0; i < 5; ++i )
        EXPECT_EQ( problem( signIn( "wrong-word-1", cAnn, "elsewhere" ) ), cIncorrect );
    EXPECT_EQ( problem( signIn( cPassword, cAnn, "elsewhere" ) ), cLocked );
    EXPECT_EQ( problem( signIn() ), "" );
    EXPECT_EQ( problem( signIn( cPassword, cAnn, "elsewhere" ) ), cLocked ) << "their lock stays";
}

TEST_F( Identity, ManyAddressesTogetherGuessOnceAMinute )
{
    addAnn();
    ASSERT_TRUE( database_->execute(
        "INSERT INTO sign_in_failures VALUES('ann@example.org', 'a', 50, ?1), ('ann@example.org', 'b', 50, ?1)",
        { now_.load() } ) );
    EXPECT_EQ( problem( signIn() ), cLocked );
    now_ += 60;
    EXPECT_EQ( problem( signIn( "wrong-word-1", cAnn, "c" ) ), cIncorrect );
    EXPECT_EQ( problem( signIn() ), cLocked );
    now_ += 60;
    EXPECT_EQ( problem( signIn() ), "" );
}

TEST_F( Identity, AClockSetBackLocksNobodyForLong )
{
    addAnn();
    for ( int i = 0; i < 5; ++i )
        EXPECT_EQ( problem( signIn( "wrong-word-1" ) ), cIncorrect );
    now_ -= 86400;
    EXPECT_EQ( problem( signIn() ), cLocked );
    now_ += 1;
    EXPECT_EQ( problem( signIn() ), "" );
}

TEST_F( Identity, OfAnAddressWhatFailsIsLimitedAndNotWhatIsRight )
{
    addAnn();
    EmbeddedIdentityOptions few;
    few.triesPerMinute = 2;
    EmbeddedIdentity identity( *database_, accounts_, tokens_, mails_, few, clock_ );
    const auto ask = [&]( const char* password, const char* name = cAnn, const char* address = "here" )
    {
        Json::Value body;
        body["AuthFlow"] = "USER_PASSWORD_AUTH";
        body["AuthParameters"]["USERNAME"] = name;
        body["AuthParameters"]["PASSWORD"] = password;
        return problem( identity.answer( { "InitiateAuth", body, address } ) );
    };
    for ( int i = 0; i < 4; ++i )
        EXPECT_EQ( ask( cPassword ), "" );
    EXPECT_EQ( ask( "wrong-word-1" ), cIncorrect );
    EXPECT_EQ( ask( "wrong-word-1", "nobody@example.org" ), cIncorrect );
    EXPECT_EQ( ask( cPassword ), cLimit );
    EXPECT_EQ( ask( cPassword, cAnn, "elsewhere" ), "" );
    now_ -= 86400;
    EXPECT_EQ( ask( cPassword ), "" ) << "a clock that was set back";
    now_ += 86400 + 60;
    EXPECT_EQ( ask( cPassword ), "" );
}

TEST_F( Identity, ALockedAccountUsesUpNobodysTries )
{
    addAnn();
    EmbeddedIdentityOptions few;
    few.triesPerMinute = 6;
    EmbeddedIdentity identity( *database_, accounts_, tokens_, mails_, few, clock_ );
    const auto ask = [&]( const char* password, const char* name )
    {
        Json::Value body;
        body["AuthFlow"] = "USER_PASSWORD_AUTH";
        body["AuthParameters"]["USERNAME"] = name;
        body["AuthParameters"]["PASSWORD"] = password;
        return problem( identity.answer( { "InitiateAuth", body, "here" } ) );
    };
    for ( int i = 0; i < 5; ++i )
        EXPECT_EQ( ask( "wrong-word-1", "nobody@example.org" ), cIncorrect );
    for ( int i = 0; i < 5; ++i )
        EXPECT_EQ( ask( "wrong-word-1", "nobody@example.org" ), cLocked );
    EXPECT_EQ( ask( cPassword, cAnn ), "" );
}

TEST_F( Identity, CodesOfForgottenPasswordsAreLimitedByAddress )
{
    EmbeddedIdentityOptions few;
    few.triesPerMinute = 2;
    few.guessesPerHour = 3;
    EmbeddedIdentity identity( *database_, accounts_, tokens_, mails_, few, clock_ );
    const auto ask = [&]( const char* address = "here" )
    {
        Json::Value body;
        body["Username"] = "nobody@example.org";
        body["Password"] = cPassword;
        body["ConfirmationCode"] = "123456";
        return problem( identity.answer( { "ConfirmForgotPassword", body, address } ) );
    };
    constexpr const char* cUnknown = "UserNotFoundException: User does not exist.";
    EXPECT_EQ( ask(), cUnknown );
    EXPECT_EQ( ask(), cUnknown );
    EXPECT_EQ( ask(), cLimit ) << "two a minute";
    now_ += 60;
    EXPECT_EQ( ask(), cUnknown );
    now_ += 60;
    EXPECT_EQ( ask(), cLimit ) << "three an hour";
    EXPECT_EQ( ask( "elsewhere" ), cUnknown );
    now_ += 3600;
    EXPECT_EQ( ask(), cUnknown );
}

TEST_F( Identity, WhatIsOldIsDeletedAndSignInsDoNotGrowWithoutEnd )
{
    addAnn();
    ASSERT_EQ( problem( signUp( "bob@example.org" ) ), "" );
    (void)signIn( "wrong-word-1" );
    const auto id = accounts_.find( cAnn ).value()->id;
    {
        Database::Transaction transaction( *database_ );
        for ( int i = 0; i < 205; ++i )
            ASSERT_TRUE( accounts_.newRefreshToken( id, std::chrono::days( 30 ) ) );
        ASSERT_TRUE( transaction.commit() );
    }
    const auto rows = [&]( const std::string& table )
    { return integerOf( database_->query( "SELECT count(*) FROM " + table ).value()[0][0] ); };
    EXPECT_EQ( rows( "refresh_tokens" ), 200 );
    EXPECT_EQ( rows( "sign_in_failures" ), 1 );
    now_ += 86400;
    ASSERT_TRUE( accounts_.clean() );
    EXPECT_EQ( rows( "sign_in_failures" ), 0 );
    EXPECT_EQ( rows( "accounts" ), 2 );
    now_ += 30 * 86400;
    ASSERT_TRUE( accounts_.clean() );
    EXPECT_EQ( rows( "accounts" ), 1 ) << "nobody has confirmed it";
}
