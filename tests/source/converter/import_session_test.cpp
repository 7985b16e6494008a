#include "support/service/ImportFixture.h"

#include <VXMesh/io/Json.h>
#include <VXOrvanta/account/AccountLock.h>
#include <VXOrvanta/account/UserInfo.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

constexpr const char* cEnded = "Your sign-in is not valid any more; sign out and in again";

/// An import whose user signs out, or whose sign-in ends, while it is on its way.
class ImportSession : public Testing::ImportFixture, public testing::WithParamInterface<bool>
{
protected:
    void SetUp() override
    {
        ImportFixture::SetUp();
        signIn( "first" );
    }
    void TearDown() override
    {
        signIn( {} );
        ImportFixture::TearDown();
    }
    [[nodiscard]] Result run( const ProgressCallback& progress = {} ) const { return import( !GetParam(), progress ); }
    static void signIn( const std::string& token )
    {
        const AccountLock lock;
        UserInfo::setAccessToken( token );
    }
    /// The token that the request of a kind has carried.
    [[nodiscard]] std::string tokenOf( const std::string& kind ) const
    {
        for ( const auto& request : transport_->sent() )
            if ( request.url.ends_with( "/" + kind ) )
                return deserializeJsonValue( request.body ).value()["access_token"].asString();
        return "not sent";
    }
};

} // namespace

TEST_P( ImportSession, ASignOutOnTheWayTakesTheTokenFromWhatIsStillToBeAsked )
{
    scriptSuccess();
    const auto result = run(
        []( float )
        {
            signIn( {} );
            return true;
        } );
    ASSERT_TRUE( result ) << result.error();
    EXPECT_EQ( tokenOf( "request" ), "first" );
    EXPECT_EQ( tokenOf( "convert" ), "" );
}

TEST_P( ImportSession, ANewSignInOnTheWayIsUsedAtOnce )
{
    scriptSuccess();
    ASSERT_TRUE( run(
        []( float )
        {
            signIn( "second" );
            return true;
        } ) );
    EXPECT_EQ( tokenOf( "request" ), "first" );
    EXPECT_EQ( tokenOf( "convert" ), "second" );
}

TEST_P( ImportSession, ATokenThatEndsDuringTheUploadIsToldInTheServicesWords )
{
    script( "request", result( R"({"request_id": ")" + requestId() + R"(", "url": "https://s3/up"})" ) );
    script( "upload", ok( "" ) );
    script(
        "convert", ScriptedTransport::response( 401, std::string( R"({"error":{"message":")" ) + cEnded + "\"}}" ) );
    const auto ended = run();
    ASSERT_FALSE( ended );
    EXPECT_EQ( ended.error(), cEnded );
    EXPECT_FALSE( std::filesystem::exists( payloadFile() ) );
    EXPECT_FALSE( std::filesystem::exists( outputFile() ) );
}

INSTANTIATE_TEST_SUITE_P(
    Both, ImportSession, testing::Bool(), []( const auto& info ) { return info.param ? "Asynchronous" : "Blocking"; } );
