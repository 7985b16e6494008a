#include "support/service/IdentityFixture.h"

#include <gtest/gtest.h>

using namespace VX;
using namespace VX::Backend;
using Testing::cAnn;

namespace
{

class BlockedAccounts : public Testing::Identity
{
protected:
    void block( bool blocked )
    {
        const auto account = accounts_.find( cAnn ).value();
        Database::Transaction transaction( *database_ );
        EXPECT_TRUE( accounts_.setBlocked( account->id, blocked ) && transaction.commit() );
    }
};

} // namespace

TEST_F( BlockedAccounts, AreKeptOutAtOnceAndLetInAgain )
{
    addAnn();
    const auto result = json( signIn() )["AuthenticationResult"];
    const auto access = result["AccessToken"].asString(), token = result["RefreshToken"].asString();
    ASSERT_TRUE( mayEnter( access ) );
    block( true );
    EXPECT_FALSE( mayEnter( access ) );
    EXPECT_EQ( problem( refresh( token ) ), "NotAuthorizedException: Invalid Refresh Token." );
    EXPECT_EQ( problem( signIn() ), "NotAuthorizedException: User is disabled." );
    EXPECT_EQ( problem( signIn( "wrong-word-1" ) ), "NotAuthorizedException: Incorrect username or password." )
        << "only who knows the password is told";
    block( false );
    EXPECT_EQ( problem( signIn() ), "" );
    EXPECT_FALSE( mayEnter( access ) ) << "what was ended stays so";
    EXPECT_NE( problem( refresh( token ) ), "" );
}

TEST_F( BlockedAccounts, NobodyIsOneInFoldersOfOlderVersions )
{
    addAnn();
    ASSERT_TRUE( database_->execute( "ALTER TABLE accounts DROP COLUMN blocked" ) );
    ASSERT_TRUE( Accounts::prepare( *database_ ) );
    EXPECT_EQ( problem( signIn() ), "" );
}
