#include "support/LogCapture.h"
#include "support/ScratchFolder.h"

#include "crypto/Base64.h"
#include "crypto/Hex.h"
#include "identity/keys/FileKeyStore.h"
#include "identity/keys/KeyCommands.h"
#include "identity/keys/KeyRing.h"
#include "identity/keys/KeysApi.h"

#include <VXMesh/io/Json.h>

#include <gtest/gtest.h>

#include <thread>

using namespace VX;
using namespace VX::Backend;
using namespace VX::Testing;
using namespace std::chrono_literals;

namespace
{

constexpr std::chrono::sys_seconds cStart{ 1'700'000'000s };

/// A service's keys over their file, at a time that the test sets.
class SigningKeys : public testing::Test
{
protected:
    [[nodiscard]] std::filesystem::path file() const { return identityKeysFile( folder_.path() ); }
    [[nodiscard]] IdentityKeys kept() const { return readIdentityKeys( folder_.path() ).value(); }
    static std::string idOf( const SigningKey& key ) { return keyPairOf( key.seed ).id; }
    /// The key that a token names.
    static std::string keyOf( const std::string& token )
    {
        const auto header = fromBase64Url( token.substr( 0, token.find( '.' ) ) );
        return deserializeJsonValue( header.value_or( "" ) ).value()["kid"].asString();
    }
    [[nodiscard]] std::string newToken() const { return tokens_.accessToken( { "ann", "ann@example.org" } ); }
    [[nodiscard]] bool isGood( const std::string& token ) const { return tokens_.ownerOf( token ).has_value(); }
    /// The ids of those that others are told to trust.
    [[nodiscard]] std::vector<std::string> published() const
    {
        std::string body;
        KeysApi( tokens_ ).handle( {}, [&]( const HttpResponse& response ) { body = response.body; } );
        const auto set = deserializeJsonValue( body ).value();
        std::vector<std::string> out;
        for ( const auto& key : set["keys"] )
            out.push_back( key["kid"].asString() );
        return out;
    }

    ScratchFolder folder_;
    std::chrono::sys_seconds now_ = cStart;
    IdentityKeys first_ = ensureIdentityKeys( folder_.path(), cStart ).value();
    AccessTokens::Clock clock_ = [this] { return now_; };
    AccessTokens tokens_{ first_.signing, 8h, clock_ };
    KeyRing ring_{ std::make_unique<FileKeyStore>( folder_.path() ), first_, tokens_, {}, clock_ };
};

} // namespace

TEST_F( SigningKeys, AreKeptPrivateAndADamagedFileIsNotReplaced )
{
    EXPECT_EQ( ensureIdentityKeys( folder_.path() )->signing, first_.signing );
    ASSERT_EQ( first_.signing.size(), 1u );
    EXPECT_EQ( first_.signing[0].seed.size(), 32u );
    EXPECT_EQ( first_.codes.size(), 32u );
    EXPECT_EQ( int( std::filesystem::status( file() ).permissions() ), 0600 );
    const auto codes = R"(","codes":")" + hex( first_.codes ) + R"("})";
    for ( const auto& text : { std::string(), std::string( "[]" ), std::string( "{}" ),
              std::string( R"({"signing":"12","codes":"34"})" ), R"({"signing":")" + codes,
              R"({"signing":[],"x":")" + codes, R"({"signing":[{"since":1,"seed":"12"}],"x":")" + codes,
              R"({"signing":[{"seed":")" + hex( first_.signing[0].seed ) + R"("}],"x":")" + codes,
              R"({"signing":["x"],"x":")" + codes } )
    {
        folder_.write( "identity-keys.json", text );
        EXPECT_FALSE( ensureIdentityKeys( folder_.path() ) ) << text;
        EXPECT_FALSE( rotateSigningKey( folder_.path(), now_ ) ) << text;
        EXPECT_EQ( readFile( file() ), text );
    }
}

TEST_F( SigningKeys, AFileThatCannotBeReadIsNotCalledDamaged )
{
    std::filesystem::remove( file() );
    std::filesystem::create_directory( file() );
    const auto keys = ensureIdentityKeys( folder_.path() );
    ASSERT_FALSE( keys );
    EXPECT_EQ( keys.error(), "\"" + file().string() + "\" cannot be read: Is a directory" );
}

TEST_F( SigningKeys, TheOneOfAnOlderVersionIsKept )
{
    const auto seed = randomHex( 32 );
    folder_.write( "identity-keys.json", R"({"signing":")" + seed + R"(","codes":")" + randomHex( 32 ) + R"("})" );
    const auto before = kept();
    ASSERT_EQ( before.signing.size(), 1u );
    EXPECT_EQ( hex( before.signing[0].seed ), seed );
    EXPECT_LT( systemTime() - before.signing[0].since, 1min ) << "as old as its file";
    const auto after = rotateSigningKey( folder_.path(), systemTime() ).value();
    ASSERT_EQ( after.signing.size(), 2u );
    EXPECT_EQ( after.signing[0], before.signing[0] );
    EXPECT_EQ( after.codes, before.codes ) << "sign-ins go on";
    EXPECT_EQ( kept().signing, after.signing );
}

TEST_F( SigningKeys, ThePublicHalfIsNamedAsOthersWouldNameIt )
{
    // The example of RFC 8037, appendix A.
    const auto pair = keyPairOf( fromBase64Url( "nWGxne_9WmC6hEr0kuwsxERJxWl7MmkZcDusAxyuf2A" ).value() );
    EXPECT_EQ( publicTextOf( pair ), "11qYAYKxCrfVS_7TyWQHOg7hcvPapiMlrwIaaPcHURo" );
    EXPECT_EQ( pair.id, "kPrK_qmxVWaYVA9wwBF6Iuo3vVzz7TxHCTwXBygrS4k" );
}

TEST_F( SigningKeys, ATokenOfTheFormerKeyIsGoodUntilItExpires )
{
    const auto old = newToken();
    EXPECT_EQ( keyOf( old ), idOf( first_.signing[0] ) );
    ASSERT_TRUE( rotateSigningKey( folder_.path(), now_ ) );
    EXPECT_EQ( keyOf( newToken() ), keyOf( old ) ) << "not before it is looked at";
    ring_.look();
    EXPECT_EQ( keyOf( newToken() ), idOf( kept().signing[1] ) );
    EXPECT_NE( keyOf( newToken() ), keyOf( old ) );
    EXPECT_TRUE( isGood( newToken() ) );
    EXPECT_EQ( published(), ( std::vector{ idOf( kept().signing[0] ), idOf( kept().signing[1] ) } ) );
    now_ += 8h - 1s;
    ring_.tend();
    EXPECT_TRUE( isGood( old ) );
    now_ += 1s;
    EXPECT_FALSE( isGood( old ) );
}

TEST_F( SigningKeys, ATokenThatNamesNoKeyOrAnotherOne )
{
    const auto second = rotateSigningKey( folder_.path(), now_ ).value();
    ring_.look();
    const auto signedAs = [&]( const std::string& header, const SigningKey& key )
    {
        auto token = AccessTokens( { key }, 8h, clock_ ).accessToken( { "ann", "" } );
        const auto claims = token.substr( token.find( '.' ), token.rfind( '.' ) - token.find( '.' ) );
        const auto text = base64Url( header ) + claims;
        return text + "." + base64Url( signatureOf( keyPairOf( key.seed ), text ) );
    };
    for ( const auto& key : second.signing )
        EXPECT_TRUE( isGood( signedAs( R"({"alg":"EdDSA","typ":"JWT"})", key ) ) ) << "as older versions made them";
    const auto naming = [&]( const std::string& id ) { return R"({"alg":"EdDSA","kid":")" + id + R"("})"; };
    EXPECT_TRUE( isGood( signedAs( naming( idOf( second.signing[0] ) ), second.signing[0] ) ) );
    EXPECT_FALSE( isGood( signedAs( naming( idOf( second.signing[0] ) ), second.signing[1] ) ) );
    EXPECT_FALSE( isGood( signedAs( naming( "unknown" ), second.signing[1] ) ) );
    EXPECT_FALSE( isGood( signedAs( R"({"alg":"EdDSA","kid":null})", second.signing[1] ) ) );
}

TEST_F( SigningKeys, AreRenewedByAgeAndForgottenWhenNothingIsGoodByThem )
{
    now_ += std::chrono::days( 90 ) - 1s;
    ring_.tend();
    EXPECT_EQ( kept().signing, first_.signing );
    now_ += 1s;
    ring_.tend();
    ASSERT_EQ( kept().signing.size(), 2u );
    EXPECT_EQ( kept().signing[1].since, now_ );
    EXPECT_EQ( int( std::filesystem::status( file() ).permissions() ), 0600 );
    EXPECT_EQ( keyOf( newToken() ), idOf( kept().signing[1] ) );
    now_ += KeyTimes().overlap;
    ring_.tend();
    EXPECT_EQ( kept().signing.size(), 2u );
    now_ += 1s;
    ring_.tend();
    ASSERT_EQ( kept().signing.size(), 1u );
    EXPECT_EQ( published(), std::vector{ idOf( kept().signing[0] ) } );
    EXPECT_EQ( keyOf( newToken() ), idOf( kept().signing[0] ) );
}

TEST_F( SigningKeys, TwoWhoRotateAtOnceLoseNoKey )
{
    constexpr int cEach = 20;
    const auto rotate = [&]
    {
        for ( int i = 0; i < cEach; ++i )
            EXPECT_TRUE( rotateSigningKey( folder_.path(), now_ ) );
    };
    std::thread other( rotate );
    rotate();
    other.join();
    EXPECT_EQ( kept().signing.size(), 1u + 2 * cEach );
}

TEST_F( SigningKeys, AFileThatIsGoneDamagedOrOfOthersChangesNothing )
{
    const auto before = readFile( file() );
    const auto old = newToken();
    const LogCapture log;
    const auto expectNoChange = [&]( const std::string& reason )
    {
        ring_.look();
        EXPECT_TRUE( log.contains( reason ) ) << log.text();
        EXPECT_EQ( keyOf( newToken() ), keyOf( old ) );
        EXPECT_TRUE( isGood( old ) );
    };
    std::filesystem::remove( file() );
    expectNoChange( "There is no \"" + file().string() + "\"" );
    const auto told = log.text();
    ring_.look();
    EXPECT_EQ( log.text(), told ) << "it is told once";
    folder_.write( "identity-keys.json", "{" );
    expectNoChange( "is damaged" );
    std::filesystem::remove( file() );
    ASSERT_TRUE( ensureIdentityKeys( folder_.path(), now_ ) );
    expectNoChange( "is of other sign-ins" );
    folder_.write( "identity-keys.json", before );
    ASSERT_TRUE( rotateSigningKey( folder_.path(), now_ ) );
    ring_.look();
    EXPECT_NE( keyOf( newToken() ), keyOf( old ) );
}

TEST_F( SigningKeys, TheCommandsListAndRotateThem )
{
    const auto said = [&]( KeyCommand::Action action, int status )
    {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        EXPECT_EQ( runKeyCommand( { { folder_.path(), {} }, action } ), status );
        return testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
    };
    EXPECT_EQ( said( KeyCommand::Action::List, 0 ), idOf( first_.signing[0] ) + "  since 2023-11-14 22:13  signs\n" );
    const auto rotated = said( KeyCommand::Action::Rotate, 0 );
    EXPECT_EQ( rotated, "Tokens are signed by the key " + idOf( kept().signing[1] ) +
                            " from now on; those of the former one are good until they expire\n" );
    const auto listed = said( KeyCommand::Action::List, 0 );
    EXPECT_TRUE( listed.starts_with( idOf( first_.signing[0] ) + "  since 2023-11-14 22:13  former\n" ) ) << listed;
    EXPECT_TRUE( listed.ends_with( "  signs\n" ) ) << listed;
    std::filesystem::remove( file() );
    for ( const auto action : { KeyCommand::Action::List, KeyCommand::Action::Rotate } )
        EXPECT_EQ( said( action, 1 ), "There is no \"" + file().string() + "\"\n" );
    EXPECT_TRUE( std::filesystem::is_empty( folder_.path() ) );
}
