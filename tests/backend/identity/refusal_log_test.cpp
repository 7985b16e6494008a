#include "support/LogCapture.h"
#include "support/service/IdentityFixture.h"

#include <fmt/format.h>

using namespace VX;
using namespace VX::Testing;

namespace
{

using RefusalLines = Identity;

} // namespace

TEST_F( RefusalLines, SayWhyWithoutSayingWho )
{
    addAnn();
    const LogCapture log;
    const auto ann = nameInLog( cAnn, keys_.codes ), here = nameInLog( "here", keys_.codes );
    for ( int i = 0; i < 5; ++i )
        (void)signIn( "wrong-word-1", "ANN@example.org" );
    EXPECT_EQ( log.count( "InitiateAuth was refused: a password was wrong, account " + ann + ", client " + here ), 5u )
        << log.text();
    (void)signIn();
    EXPECT_EQ(
        log.count( "InitiateAuth was refused: an account is locked for a while, account " + ann + ", client " ), 1u );
    (void)confirmForgot( "123456", "other-word-2" );
    EXPECT_TRUE( log.contains( "ConfirmForgotPassword was refused: a code was wrong, account " + ann ) );
    (void)signIn( cPassword, cAnn, "" );
    (void)signIn( "wrong-word-1", "nobody@example.org", "" );
    const auto nobody = nameInLog( "nobody@example.org", keys_.codes );
    EXPECT_TRUE( log.contains( "a password was wrong, account " + nobody + "\n" ) ) << "without an address";
    EXPECT_NE( nobody, ann );
    (void)refresh( "none-of-ours" );
    EXPECT_TRUE( log.contains( "InitiateAuth was refused: a refresh token is none of ours, client " + here + "\n" ) );
    ASSERT_TRUE( accounts_.setBlocked( accounts_.find( cAnn ).value()->id, true ) );
    (void)signIn( cPassword, cAnn, "elsewhere" );
    EXPECT_TRUE( log.contains( "a blocked account was tried with its password, account " + ann ) );
    for ( const char* secret : { "ann@", "ANN@", "nobody@", "here\n", "elsewhere", "example.org", "none-of-ours" } )
        EXPECT_FALSE( log.contains( secret ) ) << secret << log.text();
}

TEST_F( RefusalLines, AreFewWithinAMinuteAndTheRestIsCounted )
{
    const LogCapture log;
    for ( int i = 0; i < 130; ++i )
        (void)confirm( "123456", fmt::format( "u{}@example.org", i ) );
    EXPECT_EQ( log.count( "was refused: a code was wrong" ), 10u );
    EXPECT_EQ( log.count( "was refused: a limit is reached" ), 10u ) << "each reason has its own";
    now_ += 60;
    (void)confirm( "123456", "one-more@example.org", "elsewhere" );
    EXPECT_EQ( log.count( "90 more were refused within a minute: a code was wrong" ), 1u ) << log.text();
    EXPECT_EQ( log.count( "was refused: a code was wrong" ), 11u );
}
