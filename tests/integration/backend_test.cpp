#include "TestPlaces.h"
#include "support/Command.h"
#include "support/service/BackendProcess.h"
#include "support/service/SandboxOption.h"

#include <VXMesh/system/SystemInfo.h>
#include <VXOrvanta/converter/ConverterProtocol.h>
#include <VXOrvanta/deferred/WebRequestFuture.h>

#include <gtest/gtest.h>

#include <fstream>

using namespace VX;

namespace
{

using Output = Testing::CommandOutput;

/// The real back end as another client, curl, sees it.
class BackEnd : public testing::Test
{
protected:
    void TearDown() override
    {
        EXPECT_TRUE( finishWebRequests( std::chrono::seconds( 5 ) ) );
        setWebTransport( nullptr );
    }
    static std::string root() { return "https://localhost:" + std::to_string( ORVANTA_TEST_PORT ); }
    [[nodiscard]] Output curl( const std::string& arguments ) const
    {
        return Testing::runCommand(
            "curl -s --max-time 30 --cacert '" + ( backend_.data() / "ca.pem" ).string() + "' " + arguments );
    }
    [[nodiscard]] std::string statusOf( const std::string& arguments ) const
    {
        return curl( "-o /dev/null -w '%{http_code}' " + arguments ).text;
    }
    [[nodiscard]] static std::string uploadUrl()
    {
        return ConverterService::V2::RequestConvertContextResult::parseResponse(
            WebRequestFuture( ConverterService::V2::requestConvertContext( "step" ) ).get() )
            ->url;
    }

    Testing::BackendProcess backend_{ { "--allow-anonymous", "--max-upload", "4", "--max-stored", "5" } };
    Testing::ScratchFolder folder_;
};

} // namespace

TEST_F( BackEnd, TakesAnUploadOnlyAsItWasSigned )
{
    const auto url = uploadUrl();
    const auto file = folder_.write( "f", "data" ).string();
    EXPECT_EQ( statusOf( "'" + url + "'" ), "403" );
    EXPECT_EQ( statusOf( "-X DELETE '" + url + "'" ), "405" );
    EXPECT_EQ( statusOf( "-T " + file + " '" + url + "x'" ), "403" );
    auto altered = url;
    altered.replace( altered.find( "uploads" ), 7, "results" );
    EXPECT_EQ( statusOf( "-T " + file + " '" + altered + "'" ), "403" );
    EXPECT_EQ( statusOf( "-T " + file + " '" + url.substr( 0, url.find( '?' ) ) + "'" ), "403" );
    EXPECT_EQ( statusOf( "-T " + file + " '" + url + "'" ), "200" );
}

TEST_F( BackEnd, ServesItsPagesAndPackages )
{
    const auto tour = curl( "-i " + root() + "/inappvideo/onboarding_first_session" ).text;
    EXPECT_TRUE( tour.starts_with( "HTTP/1.1 200 OK\r\n" ) ) << tour;
    EXPECT_NE( tour.find( "Content-Security-Policy: default-src 'none';" ), std::string::npos );
    EXPECT_NE( curl( root() + "/download" ).text.find( "packaging/make-package" ), std::string::npos );
    std::filesystem::create_directory( backend_.data() / "downloads" );
    const std::string content( 300'000, 'd' );
    std::ofstream( backend_.data() / "downloads/orvanta_1_amd64.deb" ) << content;
    EXPECT_NE( curl( root() + "/download" ).text.find( "/download/orvanta_1_amd64.deb" ), std::string::npos );
    EXPECT_EQ( curl( root() + "/download/orvanta_1_amd64.deb" ).text, content );
    EXPECT_EQ( statusOf( "-I " + root() + "/download/orvanta_1_amd64.deb" ), "200" );
    EXPECT_EQ( statusOf( "--path-as-is " + root() + "/download/../ca.pem" ), "404" );
    EXPECT_EQ( statusOf( root() + "/download/..%2fca.pem" ), "404" );
}

TEST_F( BackEnd, RefusesWhatIsTooLarge )
{
    const auto big = folder_.write( "big", std::string( 6 << 20, 'x' ) ).string();
    EXPECT_EQ( statusOf( "-T " + big + " '" + uploadUrl() + "'" ), "413" );
    const auto body = folder_.write( "body", std::string( 100'000, ' ' ) ).string();
    EXPECT_EQ( statusOf( "--data-binary @" + body + " " + root() + "/converter/v2/request" ), "413" );
    EXPECT_EQ(
        statusOf( "-H 'X-Long: " + std::string( 20'000, 'a' ) + "' " + root() + "/converter/v2/status" ), "431" );
}

TEST_F( BackEnd, TakesNoMoreThanItMayHoldInAll )
{
    const auto file = folder_.write( "f", std::string( 3 << 20, 'x' ) ).string();
    EXPECT_EQ( statusOf( "-T " + file + " '" + uploadUrl() + "'" ), "200" );
    EXPECT_EQ( statusOf( "-T " + file + " '" + uploadUrl() + "'" ), "507" );
}

TEST_F( BackEnd, WantsToKnowTheLengthOfAnUpload )
{
    EXPECT_EQ( statusOf( "-H 'Transfer-Encoding: chunked' -T " + folder_.write( "f", "data" ).string() + " '" +
                         uploadUrl() + "'" ),
        "411" );
}

TEST_F( BackEnd, ReadsChunkedBodiesOfCalls )
{
    const auto body = folder_.write( "f", R"({"input_format":"step","compress_input":"zip"})" ).string();
    EXPECT_EQ(
        statusOf( "-X POST -H 'Transfer-Encoding: chunked' -T " + body + " " + root() + "/converter/v2/request" ),
        "200" );
}

TEST_F( BackEnd, AnswersExpectContinue )
{
    EXPECT_EQ(
        statusOf( "-H 'Expect: 100-continue' -T " + folder_.write( "f", "data" ).string() + " '" + uploadUrl() + "'" ),
        "200" );
}

TEST_F( BackEnd, UnknownPathsAreNotFound )
{
    EXPECT_EQ( statusOf( root() + "/" ), "404" );
    EXPECT_EQ( statusOf( "--path-as-is " + root() + "/../../etc/passwd" ), "404" );
    EXPECT_EQ( statusOf( root() + "/converter/v2/nothing" ), "404" );
}

TEST_F( BackEnd, RefusesSignInsInTheFormOfTheirProtocol )
{
    const auto said = [&]( const std::string& arguments, const std::string& path )
    { return curl( "-w ' %{http_code}' " + arguments + " " + root() + path ).text; };
    const auto body = folder_.write( "body", std::string( 100'000, ' ' ) ).string();
    EXPECT_EQ( said( "--data-binary @" + body, "/auth" ),
        R"({"__type":"InvalidParameterException","message":"Payload Too Large"} 413)" );
    EXPECT_EQ( said( "-H 'X-Long: " + std::string( 20'000, 'a' ) + "'", "/auth" ),
        R"({"__type":"InvalidParameterException","message":"Request Header Fields Too Large"} 431)" );
    EXPECT_EQ( said( "", "/auth/nothing" ),
        R"({"__type":"ResourceNotFoundException","message":"There is nothing here"} 404)" );
}

TEST_F( BackEnd, SpeaksModernTlsOnly )
{
    EXPECT_NE( curl( "--tls-max 1.1 --ciphers ALL:@SECLEVEL=0 " + root() + "/" ).status, 0 );
    EXPECT_EQ( curl( "--tls-max 1.2 " + root() + "/" ).status, 0 );
    EXPECT_EQ( curl( "--tlsv1.3 " + root() + "/" ).status, 0 );
    // Of the older version only what keeps former traffic secret when the key is lost, and is authenticated.
    for ( const char* cipher : { "AES128-GCM-SHA256", "ECDHE-ECDSA-AES128-SHA", "ECDHE-RSA-AES128-SHA" } )
        EXPECT_NE(
            curl( "--tls-max 1.2 --ciphers " + std::string( cipher ) + ":@SECLEVEL=0 " + root() + "/" ).status, 0 )
            << cipher;
    EXPECT_NE(
        Testing::runCommand( "curl -s --max-time 5 http://localhost:" + std::to_string( ORVANTA_TEST_PORT ) + "/" )
            .status,
        0 );
}

TEST_F( BackEnd, KeepsItsSecretsToItsOwner )
{
    for ( const char* file :
        { "store-keys.json", "server-key.pem", "ca-key.pem", "identity-keys.json", "orvanta.db", "statistics.db" } )
        EXPECT_EQ( std::filesystem::status( backend_.data() / file ).permissions(), std::filesystem::perms( 0600 ) )
            << file;
    EXPECT_EQ( std::filesystem::status( backend_.data() ).permissions(), std::filesystem::perms( 0700 ) );
}

TEST_F( BackEnd, SaysWhenItsPortIsTaken )
{
    const Testing::ScratchFolder other;
    const auto second =
        Testing::runCommand( std::string( ORVANTA_BACKEND ) + " serve --data " + other.path().string() + " --port " +
                             std::to_string( ORVANTA_TEST_PORT ) + " " + Testing::sandboxOption() + " 2>&1" );
    EXPECT_EQ( second.status, 1 );
    EXPECT_NE( second.text.find( "Cannot listen on port" ), std::string::npos );
}

TEST_F( BackEnd, ASecondStartKeepsCertificateAndKeys )
{
    const auto before =
        Testing::readFile( backend_.data() / "ca.pem" ) + Testing::readFile( backend_.data() / "store-keys.json" );
    backend_.restart();
    EXPECT_EQ(
        Testing::readFile( backend_.data() / "ca.pem" ) + Testing::readFile( backend_.data() / "store-keys.json" ),
        before );
}

TEST_F( BackEnd, TellsTheNewestReleaseAsPlainText )
{
    EXPECT_EQ( curl( root() + "/version/latesttag" ).text, GetVXVersionString() );
    EXPECT_NE(
        curl( "-D - -o /dev/null " + root() + "/version/latesttag" ).text.find( "text/plain" ), std::string::npos );
    EXPECT_EQ( statusOf( "-X POST -d x " + root() + "/version/latesttag" ), "405" );
    EXPECT_EQ( statusOf( root() + "/version/" ), "404" );
}

TEST_F( BackEnd, TellsTheReleaseThatItWasSetTo )
{
    backend_.setOptions( { "--latest-version", "9.8.7.6" } );
    backend_.restart();
    EXPECT_EQ( curl( root() + "/version/latesttag" ).text, "9.8.7.6" );
}
