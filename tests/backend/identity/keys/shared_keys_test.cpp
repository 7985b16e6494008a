#include "support/LogCapture.h"
#include "support/ScratchFolder.h"
#include "support/database/TestDatabase.h"

#include "identity/keys/DatabaseKeyStore.h"
#include "identity/keys/KeyRing.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

using namespace VX;
using namespace VX::Backend;
using namespace VX::Testing;
using namespace std::chrono_literals;

namespace
{

constexpr std::chrono::sys_seconds cStart{ 1'700'000'000s };

/// Keys of sign-ins that two services have in common, at a time that the test sets.
class SharedKeys : public testing::Test
{
protected:
    static IdentityKeys keysIn( Database& database, std::chrono::sys_seconds now )
    {
        EXPECT_TRUE( DatabaseKeyStore::prepare( database ) );
        return DatabaseKeyStore( database ).ensure( now ).value();
    }
    struct Side
    {
        explicit Side( SharedKeys& test )
            : database( openTestDatabase( test.folder_.path() / "db" ) )
            , keys( keysIn( *database, test.now_ ) )
            , tokens( keys.signing, 8h, [&test] { return test.now_; } )
            , ring( std::make_unique<DatabaseKeyStore>( *database ), keys, tokens, {}, [&test] { return test.now_; } )
        {
        }
        std::unique_ptr<Database> database;
        IdentityKeys keys;
        AccessTokens tokens;
        KeyRing ring;
    };
    [[nodiscard]] static std::string tokenOf( const Side& side )
    {
        return side.tokens.accessToken( { "ann", "ann@example.org" } );
    }
    [[nodiscard]] static bool isGood( const Side& side, const std::string& token )
    {
        return side.tokens.ownerOf( token ).has_value();
    }
    IdentityKeys kept() { return DatabaseKeyStore( *a_.database ).read().value(); }

    ScratchFolder folder_;
    std::chrono::sys_seconds now_ = cStart;
    Side a_{ *this }, b_{ *this };
};

} // namespace

TEST_F( SharedKeys, AreMadeOnce )
{
    EXPECT_EQ( a_.keys.signing, b_.keys.signing );
    EXPECT_EQ( a_.keys.codes, b_.keys.codes );
    EXPECT_TRUE( isGood( b_, tokenOf( a_ ) ) );
}

TEST_F( SharedKeys, ANewOneSignsOnceAllHaveHeardOfIt )
{
    const auto old = tokenOf( a_ );
    now_ += std::chrono::days( 91 );
    a_.ring.tend();
    ASSERT_EQ( kept().signing.size(), 2u );
    EXPECT_TRUE( isGood( b_, tokenOf( a_ ) ) ) << "the other one has not looked yet";
    b_.ring.look();
    now_ += 1min;
    const auto fresh = tokenOf( a_ );
    EXPECT_NE( fresh.substr( 0, fresh.find( '.' ) ), old.substr( 0, old.find( '.' ) ) ) << "it names its key";
    EXPECT_TRUE( isGood( b_, fresh ) );
}

TEST_F( SharedKeys, AreRenewedOnceWhoeverTendsThem )
{
    // The log is there before two threads use it.
    const LogCapture log;
    now_ += std::chrono::days( 91 );
    auto one = std::async( std::launch::async, [this] { a_.ring.tend(); } );
    b_.ring.tend();
    one.get();
    EXPECT_EQ( kept().signing.size(), 2u );
    a_.ring.look();
    b_.ring.look();
    now_ += 1min;
    EXPECT_TRUE( isGood( b_, tokenOf( a_ ) ) );
    EXPECT_TRUE( isGood( a_, tokenOf( b_ ) ) );
}

TEST_F( SharedKeys, StayAsTheyAreWhileTheDatabaseDoesNotTell )
{
    const LogCapture log;
    a_.ring.look();
    ASSERT_TRUE( a_.database->execute( "ALTER TABLE secrets RENAME TO away" ) );
    const auto token = tokenOf( a_ );
    a_.ring.look();
    EXPECT_TRUE( isGood( a_, token ) );
    EXPECT_EQ( log.text(), "" );
    EXPECT_EQ( DatabaseKeyStore( *a_.database ).read().error(), noSuchTable( "secrets" ) );
    ASSERT_TRUE( a_.database->execute( "ALTER TABLE away RENAME TO secrets" ) );
}

TEST_F( SharedKeys, DamagedOnesAreNotReplaced )
{
    const LogCapture log;
    ASSERT_TRUE( a_.database->execute( "UPDATE secrets SET text = '{\"signing\": [], \"codes\": \"\"}'" ) );
    EXPECT_EQ( DatabaseKeyStore( *a_.database ).ensure( now_ ).error(),
        "What the table \"secrets\" tells of \"identity\" is damaged; restore it, or remove it to end all sign-ins" );
    a_.ring.look();
    EXPECT_TRUE( log.contains( "The keys of sign-ins stay as they were" ) ) << log.text();
    EXPECT_TRUE( isGood( b_, tokenOf( a_ ) ) );
    ASSERT_TRUE( a_.database->execute( "DELETE FROM secrets" ) );
    EXPECT_EQ( DatabaseKeyStore( *a_.database ).read().error(),
        "What the table \"secrets\" tells of \"identity\" is missing" );
}
