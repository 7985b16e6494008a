#include <VXOrvanta/converter/Fetch.h>
#include <VXViewer/web/ScriptedTransport.h>

#include <gtest/gtest.h>

using namespace VX;

namespace
{

/// What a request gets whose every response is this one.
tl::expected<Json::Value, std::string> fetched( const Json::Value& response )
{
    setWebTransport( std::make_shared<ScriptedTransport>(
        [response]( const WebRequestData& ) { return std::optional( response ); } ) );
    auto out = ConverterService::fetch( WebRequest( "https://x" ) );
    setWebTransport( nullptr );
    return out;
}

} // namespace

TEST( Fetch, WaitsForTheResponseAndReturnsIt )
{
    const auto got = fetched( ScriptedTransport::response( 200, "body" ) );
    ASSERT_TRUE( got );
    EXPECT_EQ( ( *got )["text"], "body" );
}

TEST( Fetch, FailuresAreValuesToo )
{
    for ( const int code : { 0, 404, 500 } )
    {
        const auto got = fetched( ScriptedTransport::response( code, "", "no route" ) );
        ASSERT_TRUE( got ) << code;
        EXPECT_EQ( ( *got )["code"], code );
        EXPECT_EQ( ( *got )["error"], "no route" );
    }
}
