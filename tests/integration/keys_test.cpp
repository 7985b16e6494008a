#include "TestPlaces.h"
#include "support/Command.h"
#include "support/Patience.h"
#include "support/service/BackendProcess.h"

#include "crypto/Base64.h"
#include "identity/keys/IdentityKeys.h"
#include "identity/keys/KeyPair.h"

#include <VXMesh/io/Json.h>

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <thread>

using namespace VX;
using Testing::runCommand;

namespace
{

/// A service with one account, as its clients and its operator see it.
class Keys : public testing::Test
{
protected:
    Keys()
    {
        EXPECT_EQ( runCommand( "echo secret-word-1 | " + std::string( ORVANTA_BACKEND ) +
                               " user add ann@example.org --password-stdin --data '" + data() + "'" )
                       .status,
            0 );
    }

    [[nodiscard]] std::string data() const { return backend_.data().string(); }
    [[nodiscard]] std::string get( const std::string& arguments ) const
    {
        return runCommand( "curl -s --max-time 60 --cacert '" + data() +
                           "/ca.pem' https://localhost:" + std::to_string( ORVANTA_TEST_PORT ) + arguments )
            .text;
    }
    [[nodiscard]] Json::Value call( const std::string& operation, const std::string& body ) const
    {
        const auto answer =
            get( "/auth -H 'x-amz-target: AWSCognitoIdentityProviderService." + operation + "' -d '" + body + "'" );
        return deserializeJsonValue( answer ).value_or( Json::Value() );
    }
    [[nodiscard]] Json::Value signIn() const
    {
        return call( "InitiateAuth", R"({"AuthFlow":"USER_PASSWORD_AUTH","AuthParameters":)"
                                     R"({"USERNAME":"ann@example.org","PASSWORD":"secret-word-1"}})" );
    }
    [[nodiscard]] std::string newToken() const { return signIn()["AuthenticationResult"]["AccessToken"].asString(); }
    [[nodiscard]] Json::Value refreshed( const std::string& token ) const
    {
        return call( "InitiateAuth",
            R"({"AuthFlow":"REFRESH_TOKEN_AUTH","AuthParameters":{"REFRESH_TOKEN":")" + token + R"("}})" );
    }
    [[nodiscard]] bool isGood( const std::string& token ) const
    {
        return call( "GetUser", R"({"AccessToken":")" + token + R"("})" ).isMember( "Username" );
    }
    /// The key that a token names.
    static std::string keyOf( const std::string& token )
    {
        const auto header = Backend::fromBase64Url( token.substr( 0, token.find( '.' ) ) );
        return deserializeJsonValue( header.value_or( "" ) ).value_or( Json::Value() )["kid"].asString();
    }
    /// The ids of the keys in the file.
    [[nodiscard]] std::vector<std::string> kept() const
    {
        const auto keys = Backend::readIdentityKeys( data() ).value();
        std::vector<std::string> out;
        for ( const auto& key : keys.signing )
            out.push_back( Backend::keyPairOf( key.seed ).id );
        return out;
    }
    /// The ids of those that others are told to trust.
    [[nodiscard]] std::vector<std::string> published() const
    {
        const auto set = deserializeJsonValue( get( "/.well-known/jwks.json" ) ).value();
        std::vector<std::string> out;
        for ( const auto& key : set["keys"] )
            out.push_back( key["kid"].asString() );
        return out;
    }
    void stop()
    {
        backend_.signal( SIGTERM );
        EXPECT_EQ( backend_.awaitEnd(), 0 );
    }

    Testing::BackendProcess backend_{ std::vector<std::string>{} };
};

} // namespace

TEST_F( Keys, AreRotatedBesideTheServiceAndFormerTokensStayGood )
{
    const auto old = newToken();
    EXPECT_EQ( published(), std::vector{ keyOf( old ) } );
    const auto rotated = runCommand( std::string( ORVANTA_BACKEND ) + " keys rotate --data '" + data() + "' 2>&1" );
    EXPECT_EQ( rotated.status, 0 ) << rotated.text;
    const auto second = kept().back();
    for ( const Testing::Patience patience; published().size() < 2; patience.check() )
        std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) );
    const auto fresh = newToken();
    EXPECT_EQ( keyOf( fresh ), second );
    EXPECT_EQ( published(), ( std::vector{ keyOf( old ), second } ) );
    EXPECT_TRUE( isGood( old ) );
    EXPECT_TRUE( isGood( fresh ) );
    backend_.restart();
    EXPECT_TRUE( isGood( old ) );
    EXPECT_TRUE( isGood( fresh ) );
}

TEST_F( Keys, AnOldOneIsFollowedByAnotherWithoutAnyHelp )
{
    const auto old = newToken();
    stop();
    auto root = deserializeJsonValue( backend_.data() / "identity-keys.json" ).value();
    auto& since = root["signing"][0]["since"];
    since = since.asInt64() - std::chrono::seconds( std::chrono::days( 90 ) ).count();
    std::ofstream( backend_.data() / "identity-keys.json" ) << root.toStyledString();
    backend_.restart();
    for ( const Testing::Patience patience; published().size() < 2; patience.check() )
        std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) );
    EXPECT_EQ( published(), kept() );
    EXPECT_EQ( keyOf( newToken() ), kept().back() );
    EXPECT_TRUE( isGood( old ) );
}

TEST_F( Keys, RemovingThemEndsAllSignIns )
{
    const auto result = signIn()["AuthenticationResult"];
    const auto access = result["AccessToken"].asString(), refresh = result["RefreshToken"].asString();
    ASSERT_TRUE( isGood( access ) );
    ASSERT_TRUE( refreshed( refresh ).isMember( "AuthenticationResult" ) );
    stop();
    std::filesystem::remove( backend_.data() / "identity-keys.json" );
    backend_.restart();
    EXPECT_FALSE( isGood( access ) );
    EXPECT_EQ( refreshed( refresh )["message"].asString(), "Invalid Refresh Token." );
    EXPECT_TRUE( isGood( newToken() ) ) << "the account is still there";
}

TEST( KeysOfAnotherService, AreNotOursToTell )
{
    const Testing::BackendProcess backend(
        { "--auth-endpoint", "https://localhost:1/", "--auth-client-id", "client" } );
    const auto status = runCommand(
        "curl -s -o /dev/null -w '%{http_code}' --max-time 60 --cacert '" + ( backend.data() / "ca.pem" ).string() +
        "' https://localhost:" + std::to_string( ORVANTA_TEST_PORT ) + "/.well-known/jwks.json" );
    EXPECT_EQ( status.text, "404" );
}
