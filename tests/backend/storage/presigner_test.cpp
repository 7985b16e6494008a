#include "TestPlaces.h"
#include "storage/Presigner.h"
#include "text/Uri.h"

#include <VXMesh/io/Json.h>

#include <gtest/gtest.h>

using namespace VX::Backend;

namespace
{

std::chrono::sys_seconds timeOf( const std::string& amzDate )
{
    using namespace std::chrono;
    const auto number = [&]( size_t at, size_t length ) { return std::stoi( amzDate.substr( at, length ) ); };
    return sys_seconds( sys_days( year( number( 0, 4 ) ) / number( 4, 2 ) / number( 6, 2 ) ) ) +
           hours( number( 9, 2 ) ) + minutes( number( 11, 2 ) ) + seconds( number( 13, 2 ) );
}

std::map<std::string, std::string> textMembers( const Json::Value& object )
{
    std::map<std::string, std::string> out;
    for ( const auto& key : object.getMemberNames() )
        out[key] = object[key].asString();
    return out;
}

S3Credentials credentialsOf( const Json::Value& vector )
{
    S3Credentials out;
    out.accessKey = vector["access_key"].asString();
    out.secretKey = vector["secret_key"].asString();
    out.region = vector["region"].asString();
    out.securityToken = vector["query_decoded"]["X-Amz-Security-Token"].asString();
    return out;
}

PresignRequest requestOf( const Json::Value& vector )
{
    PresignRequest out;
    out.method = vector["method"].asString();
    out.endpoint = vector["scheme"].asString() + "://" + vector["host"].asString();
    out.path = vector["path_decoded"].asString();
    out.time = timeOf( vector["amz_date"].asString() );
    out.lifetime = std::chrono::seconds( vector["expires"].asInt() );
    out.query = textMembers( vector["query_decoded"] );
    out.headers = textMembers( vector["signed_headers"] );
    return out;
}

PresignedRequest incoming( const Json::Value& vector )
{
    const auto url = vector["url"].asString();
    const auto mark = url.find( '?' );
    return { vector["method"].asString(), vector["path_encoded"].asString(), url.substr( mark + 1 ),
        textMembers( vector["signed_headers"] ) };
}

const Json::Value& vectors()
{
    static const Json::Value sVectors = VX::deserializeJsonValue(
        std::filesystem::path( ORVANTA_TEST_DATA ) / "backend" / "storage" / "presign-vectors.json" )
                                            .value();
    return sVectors;
}

std::string codeOf( const tl::expected<void, std::string>& result )
{
    return result ? "" : result.error();
}

} // namespace

TEST( Presigner, MakesTheUrlOfEveryVector )
{
    ASSERT_EQ( vectors().size(), 5u );
    for ( const auto& vector : vectors() )
    {
        const auto url = presign( requestOf( vector ), credentialsOf( vector ) );
        EXPECT_NE( url.find( "X-Amz-Signature=" + vector["signature"].asString() ), std::string::npos )
            << vector["name"];
        EXPECT_EQ( parseQuery( url.substr( url.find( '?' ) + 1 ) ), parseQuery( incoming( vector ).query ) )
            << vector["name"];
        EXPECT_EQ( url.substr( 0, url.find( '?' ) ),
            vector["url"].asString().substr( 0, vector["url"].asString().find( '?' ) ) );
    }
}

TEST( Presigner, AcceptsEveryVectorUntilItExpires )
{
    for ( const auto& vector : vectors() )
    {
        const auto time = timeOf( vector["amz_date"].asString() );
        const auto lifetime = std::chrono::seconds( vector["expires"].asInt() );
        const auto credentials = credentialsOf( vector );
        EXPECT_EQ( codeOf( verifyPresigned( incoming( vector ), credentials, time ) ), "" ) << vector["name"];
        EXPECT_EQ( codeOf( verifyPresigned( incoming( vector ), credentials, time + lifetime ) ), "" );
        EXPECT_EQ(
            codeOf( verifyPresigned( incoming( vector ), credentials, time + lifetime + std::chrono::seconds( 1 ) ) ),
            "AccessDenied" );
        EXPECT_EQ( codeOf( verifyPresigned( incoming( vector ), credentials, time - std::chrono::hours( 1 ) ) ),
            "AccessDenied" );
    }
}

TEST( Presigner, RefusesWhatWasAltered )
{
    for ( const auto& vector : vectors() )
    {
        const auto time = timeOf( vector["amz_date"].asString() );
        const auto credentials = credentialsOf( vector );
        const auto altered = [&]( auto&& change )
        {
            auto request = incoming( vector );
            change( request );
            return codeOf( verifyPresigned( request, credentials, time ) );
        };
        EXPECT_EQ(
            altered( []( auto& r ) { r.method = r.method == "GET" ? "PUT" : "GET"; } ), "SignatureDoesNotMatch" );
        EXPECT_EQ( altered( []( auto& r ) { r.path += "x"; } ), "SignatureDoesNotMatch" );
        EXPECT_EQ( altered( []( auto& r ) { r.query += "&extra=1"; } ), "SignatureDoesNotMatch" );
        EXPECT_EQ( altered( []( auto& r ) { r.headers["host"] = "elsewhere"; } ), "SignatureDoesNotMatch" );
        EXPECT_EQ( altered( []( auto& r ) { r.headers.clear(); } ), "SignatureDoesNotMatch" );
        EXPECT_EQ( altered(
                       []( auto& r )
                       {
                           auto& last = r.query[r.query.find( "X-Amz-Signature=" ) + 20];
                           last = last == '0' ? '1' : '0';
                       } ),
            "SignatureDoesNotMatch" );
    }
}

TEST( Presigner, RefusesStrangersAndMissingOrOddParameters )
{
    const auto& vector = vectors()[0];
    const auto time = timeOf( vector["amz_date"].asString() );
    auto stranger = credentialsOf( vector );
    stranger.secretKey = "other";
    EXPECT_EQ( codeOf( verifyPresigned( incoming( vector ), stranger, time ) ), "SignatureDoesNotMatch" );
    stranger = credentialsOf( vector );
    stranger.accessKey = "OTHER";
    EXPECT_EQ( codeOf( verifyPresigned( incoming( vector ), stranger, time ) ), "InvalidAccessKeyId" );

    const auto credentials = credentialsOf( vector );
    auto request = incoming( vector );
    request.query.clear();
    EXPECT_EQ( codeOf( verifyPresigned( request, credentials, time ) ), "AccessDenied" );
    request.query = "%zz";
    EXPECT_EQ( codeOf( verifyPresigned( request, credentials, time ) ), "AuthorizationQueryParametersError" );
    for ( const char* odd : { "X-Amz-Expires=0", "X-Amz-Expires=604801", "X-Amz-Expires=-5", "X-Amz-Expires=9x" } )
    {
        request = incoming( vector );
        request.query.replace( request.query.find( "X-Amz-Expires=900" ), 17, odd );
        EXPECT_EQ( codeOf( verifyPresigned( request, credentials, time ) ), "AuthorizationQueryParametersError" )
            << odd;
    }
    for ( const char* odd : { "X-Amz-Date=20240102T030405", "X-Amz-Date=20241302T030405Z", "X-Amz-Date=garbage" } )
    {
        request = incoming( vector );
        request.query.replace( request.query.find( "X-Amz-Date=20240102T030405Z" ), 27, odd );
        EXPECT_NE( codeOf( verifyPresigned( request, credentials, time ) ), "" ) << odd;
    }
}
