#include <VXOrvanta/account/UserInfo.h>
#include <VXOrvanta/converter/ConverterProtocol.h>
#include <VXViewer/web/ScriptedTransport.h>

#include <gtest/gtest.h>

using namespace VX;
using namespace VX::ConverterService::V2;

namespace
{

Json::Value answer( const std::string& text, int code = 200 )
{
    return ScriptedTransport::response( code, text );
}

template <typename Result>
std::string errorOf( const Json::Value& response )
{
    const auto parsed = Result::parseResponse( response );
    return parsed ? "" : parsed.error();
}

class ConverterProtocol : public testing::Test
{
protected:
    void TearDown() override { UserInfo::setAccessToken( "" ); }
};

} // namespace

TEST_F( ConverterProtocol, ContextRequestWithoutASignedInUserHasNoToken )
{
    const auto data = requestConvertContext( "step" ).data();
    EXPECT_EQ( data.method, WebMethod::Post );
    EXPECT_EQ( data.url, ORVANTA_CONVERTER_URL "/request" );
    EXPECT_EQ( data.body, "{\"compress_input\":\"zip\",\"input_format\":\"step\"}\n" );
    EXPECT_TRUE( data.headers.empty() );
    EXPECT_TRUE( data.parameters.empty() );
    EXPECT_EQ( data.timeout, std::chrono::milliseconds( 10000 ) );
    EXPECT_EQ( data.logName, "ConverterService" );
}

TEST_F( ConverterProtocol, TokenIsTakenWhenTheRequestIsBuilt )
{
    const auto before = requestConvertContext( "step" );
    UserInfo::setAccessToken( "tok\"en" );
    EXPECT_EQ( requestConvertContext( "step" ).data().body,
        "{\"access_token\":\"tok\\\"en\",\"compress_input\":\"zip\",\"input_format\":\"step\"}\n" );
    EXPECT_EQ( before.data().body.find( "token" ), std::string::npos );
}

TEST_F( ConverterProtocol, StartRequest )
{
    UserInfo::setAccessToken( "t" );
    const auto data = startConvert( "id", "step", "vxu" ).data();
    EXPECT_EQ( data.url, ORVANTA_CONVERTER_URL "/convert" );
    EXPECT_EQ( data.method, WebMethod::Post );
    EXPECT_EQ( data.body, "{\"access_token\":\"t\",\"compress_input\":\"zip\",\"input_format\":\"step\","
                          "\"output_format\":\"vxu\",\"request_id\":\"id\"}\n" );
}

TEST_F( ConverterProtocol, StatusRequestHasAParameterAndNeitherBodyNorToken )
{
    UserInfo::setAccessToken( "t" );
    const auto data = checkConvertStatus( "a b" ).data();
    EXPECT_EQ( data.method, WebMethod::Get );
    EXPECT_EQ( data.url, ORVANTA_CONVERTER_URL "/status" );
    EXPECT_EQ( data.parameters, ( std::map<std::string, std::string>{ { "request_id", "a b" } } ) );
    EXPECT_TRUE( data.body.empty() );
}

TEST_F( ConverterProtocol, EnvelopeFailuresInTheirOrder )
{
    using Result = StartConvertResult;
    EXPECT_EQ( errorOf<Result>( ScriptedTransport::response( 0, R"({"result": 1})", "cut" ) ), "Connection error" );
    auto odd = answer( R"({"result": 1})" );
    odd["error"] = 5;
    EXPECT_EQ( errorOf<Result>( odd ), "Connection error" );
    auto noText = ScriptedTransport::response( 200, "", "transport says" );
    noText["text"] = Json::Value();
    EXPECT_EQ( errorOf<Result>( noText ), "transport says" );
    EXPECT_NE( errorOf<Result>( answer( "<html>" ) ).find( "Syntax error" ), std::string::npos );
    EXPECT_EQ( errorOf<Result>( answer( "[1]" ) ), "Invalid response format" );
    EXPECT_EQ( errorOf<Result>( answer( R"({"result": null, "error": {"message": "quota"}})" ) ), "quota" );
    EXPECT_EQ( errorOf<Result>( answer( R"({"result": null})" ) ), "Invalid response format" );
    EXPECT_EQ( errorOf<Result>( answer( R"({"error": {"message": 5}})" ) ), "Invalid response format" );
    EXPECT_EQ( errorOf<Result>( answer( R"({"error": "text"})" ) ), "Invalid response format" );
}

TEST_F( ConverterProtocol, HttpStatusIsOnlyComparedWithZero )
{
    EXPECT_EQ( errorOf<StartConvertResult>( answer( R"({"result": {}})", 500 ) ), "" );
    EXPECT_EQ( errorOf<StartConvertResult>( answer( R"({"error": {"message": "no"}})", 404 ) ), "no" );
}

TEST_F( ConverterProtocol, ContextFields )
{
    using Result = RequestConvertContextResult;
    const auto good = Result::parseResponse( answer( R"({"result": {"request_id": "r", "url": "u"}})" ) );
    ASSERT_TRUE( good );
    EXPECT_EQ( good->requestId, "r" );
    EXPECT_EQ( good->url, "u" );
    EXPECT_EQ( errorOf<Result>( answer( R"({"result": 5})" ) ), "Invalid response format" );
    EXPECT_EQ( errorOf<Result>( answer( R"({"result": {}})" ) ), "\"request_id\" field is missing" );
    EXPECT_EQ( errorOf<Result>( answer( R"({"result": {"request_id": 5, "url": "u"}})" ) ),
        "\"request_id\" field is missing" );
    EXPECT_EQ( errorOf<Result>( answer( R"({"result": {"request_id": "r"}})" ) ), "\"url\" field is missing" );
}

TEST_F( ConverterProtocol, StartIgnoresWhatTheResultHolds )
{
    for ( const char* result : { "1", "\"x\"", "[]", "{}", "false" } )
        EXPECT_EQ( errorOf<StartConvertResult>( answer( std::string( R"({"result": )" ) + result + "}" ) ), "" );
}

TEST_F( ConverterProtocol, StatusStates )
{
    using Result = CheckConvertStatusResult;
    const auto progress = Result::parseResponse( answer( R"({"result": {"state": "in_progress"}})" ) );
    ASSERT_TRUE( progress );
    EXPECT_EQ( progress->state, Result::State::InProgress );
    EXPECT_FALSE( progress->url );
    const auto notStarted =
        Result::parseResponse( answer( R"({"result": {"state": "not_started", "url": "early"}})" ) );
    ASSERT_TRUE( notStarted );
    EXPECT_EQ( notStarted->state, Result::State::NotStarted );
    EXPECT_EQ( notStarted->url, "early" );
    const auto finished = Result::parseResponse( answer( R"({"result": {"state": "finished", "url": "u"}})" ) );
    ASSERT_TRUE( finished );
    EXPECT_EQ( finished->url, "u" );
    EXPECT_EQ( errorOf<Result>( answer( R"({"result": {"state": "finished"}})" ) ), "\"url\" field is missing" );
    EXPECT_EQ(
        errorOf<Result>( answer( R"({"result": {"state": "Finished", "url": "u"}})" ) ), "Unknown state: Finished" );
    EXPECT_EQ( errorOf<Result>( answer( R"({"result": {"state": 3}})" ) ), "\"state\" field is missing" );
    EXPECT_EQ( errorOf<Result>( answer( R"({"result": "finished"})" ) ), "Invalid response format" );
    EXPECT_EQ( int( Result::State::NotStarted ), 1 );
    EXPECT_EQ( int( Result::State::Finished ), 3 );
}
