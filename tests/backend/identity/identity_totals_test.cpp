#include "support/service/IdentityFixture.h"

using namespace VX;
using namespace VX::Testing;

namespace
{

constexpr const char* cLocked = "NotAuthorizedException: Password attempts exceeded";

/// What holds for all clients together, also after a restart.
class IdentityTotals : public Identity
{
protected:
    /// Another service over the same database, as after a restart.
    void restart( const IdentityLimitOptions& limits )
    {
        EmbeddedIdentityOptions options;
        static_cast<IdentityLimitOptions&>( options ) = limits;
        again_ = std::make_unique<EmbeddedIdentity>( *database_, accounts_, tokens_, mails_, options, clock_ );
    }
    std::string ask( const char* operation, const Json::Value& body, const std::string& address )
    {
        return problem( again_->answer( { operation, body, address } ) );
    }
    std::string signsUp( const std::string& name, const std::string& address )
    {
        Json::Value body;
        body["Username"] = name;
        body["Password"] = cPassword;
        return ask( "SignUp", body, address );
    }
    std::string forgets( const std::string& name, const std::string& address )
    {
        Json::Value body;
        body["Username"] = name;
        return ask( "ForgotPassword", body, address );
    }
    std::string signsIn( const std::string& password, const std::string& name, const std::string& address )
    {
        Json::Value body;
        body["AuthFlow"] = "USER_PASSWORD_AUTH";
        body["AuthParameters"]["USERNAME"] = name;
        body["AuthParameters"]["PASSWORD"] = password;
        return ask( "InitiateAuth", body, address );
    }

    std::unique_ptr<EmbeddedIdentity> again_;
};

constexpr const char* cUnknownUser = "UserNotFoundException: User does not exist.";

} // namespace

TEST_F( IdentityTotals, MailsOfAllClientsAreLimitedAlsoAfterARestart )
{
    IdentityLimitOptions limits;
    limits.mailsPerHourOfAll = 3;
    restart( limits );
    EXPECT_EQ( signsUp( "a@example.org", "1" ), "" );
    EXPECT_EQ(
        signsUp( "a@example.org", "1" ), "UsernameExistsException: An account with the given email already exists." );
    EXPECT_EQ( forgets( "a@example.org", "2" ), "" );
    EXPECT_EQ( forgets( "nobody@example.org", "2" ), cUnknownUser ) << "no mail, and so not counted";
    EXPECT_EQ( signsUp( "b@example.org", "3" ), "" );
    EXPECT_EQ( signsUp( "c@example.org", "4" ), cLimit );
    restart( limits );
    EXPECT_EQ( forgets( "a@example.org", "5" ), cLimit );
    EXPECT_EQ( mailer_.mails.size(), 3u );
    now_ += 3600;
    EXPECT_EQ( signsUp( "c@example.org", "4" ), "" );
}

TEST_F( IdentityTotals, ClientsWithoutAnAddressCauseHalfOfAllMails )
{
    IdentityLimitOptions limits;
    limits.mailsPerHourOfAll = 4;
    restart( limits );
    EXPECT_EQ( signsUp( "a@example.org", "" ), "" );
    EXPECT_EQ( signsUp( "b@example.org", "" ), "" );
    EXPECT_EQ( signsUp( "c@example.org", "" ), cLimit );
    EXPECT_EQ( signsUp( "c@example.org", "1" ), "" );
    EXPECT_EQ( signsUp( "d@example.org", "2" ), "" );
    EXPECT_EQ( signsUp( "e@example.org", "3" ), cLimit );
}

TEST_F( IdentityTotals, MailsAndGuessesOfAnAddressAreRememberedAcrossARestart )
{
    IdentityLimitOptions limits;
    limits.mailsPerHour = limits.guessesPerHour = 1;
    restart( limits );
    EXPECT_EQ( signsUp( "a@example.org", "1" ), "" );
    EXPECT_EQ( forgets( "nobody@example.org", "2" ), cUnknownUser );
    restart( limits );
    EXPECT_EQ( forgets( "a@example.org", "1" ), cLimit );
    EXPECT_EQ( forgets( "nobody@example.org", "2" ), cLimit );
    EXPECT_EQ( forgets( "a@example.org", "3" ), "" );
    now_ -= 86400;
    EXPECT_EQ( forgets( "a@example.org", "1" ), "" ) << "a clock that was set back";
}

TEST_F( IdentityTotals, MailsOfAnAccountAreRememberedAcrossARestart )
{
    addAnn();
    IdentityLimitOptions limits;
    limits.mailsPerAccount = 2;
    restart( limits );
    EXPECT_EQ( forgets( cAnn, "1" ), "" );
    restart( limits );
    EXPECT_EQ( forgets( cAnn, "2" ), cLimit );
    now_ += 900;
    EXPECT_EQ( forgets( cAnn, "2" ), "" );
}

TEST_F( IdentityTotals, StrangersFailuresKeepNobodyOutWhoseAccountTheyLeaveAlone )
{
    addAnn();
    IdentityLimitOptions limits;
    limits.failuresPerHour = 3;
    restart( limits );
    for ( const char* name : { "a@example.org", "b@example.org", "c@example.org", "d@example.org" } )
        EXPECT_EQ( signsIn( "wrong-word-1", name, "" ), cIncorrect );
    for ( int i = 0; i < 5; ++i )
        EXPECT_EQ( signsIn( cPassword, cAnn, "" ), "" ) << "without an address, too";
    EXPECT_EQ( signsIn( cPassword, cAnn, "1" ), "" );
}

TEST_F( IdentityTotals, WhileManyFailEachFailureLocksItsAccountAlsoAfterARestart )
{
    addAnn();
    IdentityLimitOptions limits;
    limits.failuresPerHour = 2;
    restart( limits );
    EXPECT_EQ( signsIn( "wrong-word-1", cAnn, "1" ), cIncorrect );
    EXPECT_EQ( signsIn( cPassword, cAnn, "1" ), "" ) << "one failure is none of many";
    EXPECT_EQ( signsIn( "wrong-word-1", "nobody@example.org", "" ), cIncorrect );
    restart( limits );
    EXPECT_EQ( signsIn( "wrong-word-1", cAnn, "2" ), cIncorrect );
    EXPECT_EQ( signsIn( "wrong-word-1", cAnn, "3" ), cLocked );
    now_ += 2;
    EXPECT_EQ( signsIn( "wrong-word-1", cAnn, "3" ), cIncorrect );
    now_ += 2;
    EXPECT_EQ( signsIn( cPassword, cAnn, "4" ), cLocked ) << "for longer and longer";
    now_ += 2;
    EXPECT_EQ( signsIn( cPassword, cAnn, "4" ), "" );
    now_ += 3600;
    EXPECT_EQ( signsIn( "wrong-word-1", cAnn, "5" ), cIncorrect );
    EXPECT_EQ( signsIn( cPassword, cAnn, "6" ), "" ) << "the hour is over";
}

TEST_F( IdentityTotals, AFailureThatCannotBeCountedIsToldNothing )
{
    addAnn();
    restart( {} );
    refuseWrites( *database_, "INSERT", "kept_limits" );
    Json::Value body;
    body["AuthFlow"] = "USER_PASSWORD_AUTH";
    body["AuthParameters"]["USERNAME"] = cAnn;
    body["AuthParameters"]["PASSWORD"] = "wrong-word-1";
    EXPECT_EQ( again_->answer( { "InitiateAuth", body, "1" } ).status, 500 );
    EXPECT_EQ( integerOf( database_->query( "SELECT count(*) FROM sign_in_failures" ).value()[0][0] ), 0 )
        << "both or none";
    EXPECT_EQ( signsIn( cPassword, cAnn, "1" ), "" );
}

TEST_F( IdentityTotals, WhatIsOverIsForgotten )
{
    addAnn();
    EXPECT_EQ( problem( signIn( "wrong-word-1" ) ), cIncorrect );
    const auto rows = [&] { return integerOf( database_->query( "SELECT count(*) FROM kept_limits" ).value()[0][0] ); };
    EXPECT_GT( rows(), 2 );
    ASSERT_TRUE( KeptLimit::clean( *database_, clock_() ) );
    EXPECT_GT( rows(), 2 );
    now_ += 3600;
    ASSERT_TRUE( KeptLimit::clean( *database_, clock_() ) );
    EXPECT_EQ( rows(), 0 );
}
