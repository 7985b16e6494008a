#include "TestPlaces.h"
#include "support/Command.h"
#include "support/service/BackendProcess.h"

#include "database/Database.h"
#include "identity/keys/IdentityKeys.h"
#include "statistics/ReportReader.h"

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Zip.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <set>

using namespace VX;

namespace
{

const std::string cRoot = "https://localhost:" + std::to_string( ORVANTA_TEST_PORT );
const std::string cMonitorAt = "127.0.0.1:" + std::to_string( ORVANTA_TEST_PORT + 1 );
constexpr const char* cPassword = "Marked-password-1";
constexpr const char* cAnn = "ann.marked@example.org";

/// Calls all services as a client does, and remembers what of it is nobody's business.
class LogLines : public testing::Test
{
protected:
    /// Head and body of an answer.
    std::string call( const std::string& arguments, const std::string& path )
    {
        return Testing::runCommand( "curl -si --max-time 60 --cacert " + ( backend_.data() / "ca.pem" ).string() + " " +
                                    arguments + " '" + ( path.starts_with( "http" ) ? path : cRoot + path ) + "'" )
            .text;
    }
    static Json::Value bodyOf( const std::string& answer )
    {
        return deserializeJsonValue( answer.substr( answer.find( "\r\n\r\n" ) + 4 ) ).value_or( Json::Value() );
    }
    static std::string idOf( const std::string& answer )
    {
        const std::string name = "X-Request-Id: ";
        const auto at = answer.find( name );
        EXPECT_NE( at, std::string::npos ) << answer;
        return answer.substr( at + name.size(), answer.find( "\r\n", at ) - at - name.size() );
    }
    Json::Value auth( const std::string& operation, const std::string& body )
    {
        return bodyOf( call(
            "-H 'x-amz-target: AWSCognitoIdentityProviderService." + operation + "' -d '" + body + "'", "/auth" ) );
    }
    Json::Value signIn( const std::string& password )
    {
        return auth( "InitiateAuth", R"({"AuthFlow":"USER_PASSWORD_AUTH","AuthParameters":{"USERNAME":")" +
                                         std::string( cAnn ) + R"(","PASSWORD":")" + password + "\"}}" );
    }
    /// The code of the newest mail.
    std::string code()
    {
        std::filesystem::path newest;
        for ( const auto& entry : std::filesystem::directory_iterator( backend_.data() / "outbox" ) )
            if ( newest.empty() || entry.last_write_time() > std::filesystem::last_write_time( newest ) )
                newest = entry.path();
        const auto text = Testing::readFile( newest );
        constexpr const char* cDigits = "0123456789";
        for ( size_t at = 0; ( at = text.find_first_of( cDigits, at ) ) != std::string::npos; )
        {
            const auto end = text.find_first_not_of( cDigits, at );
            if ( end - at == 6 )
                return text.substr( at, 6 );
            at = end;
        }
        ADD_FAILURE() << "no code in " << text;
        return {};
    }
    void secret( const std::string& text )
    {
        EXPECT_GE( text.size(), 6u );
        secrets_.insert( text );
    }
    void useAccounts()
    {
        secret( cAnn );
        secret( cPassword );
        secret( "Wrong-marked-1" );
        auth( "SignUp", R"({"Username":")" + std::string( cAnn ) + R"(","Password":")" + cPassword + "\"}" );
        const auto confirming = code();
        secret( confirming );
        auth( "ConfirmSignUp",
            R"({"Username":")" + std::string( cAnn ) + R"(","ConfirmationCode":")" + confirming + "\"}" );
        auth( "ForgotPassword", R"({"Username":")" + std::string( cAnn ) + "\"}" );
        secret( code() );
        signIn( "Wrong-marked-1" );
        const auto given = signIn( cPassword )["AuthenticationResult"];
        token_ = given["AccessToken"].asString();
        secret( token_ );
        const auto refresh = given["RefreshToken"].asString();
        secret( refresh );
        auth( "InitiateAuth",
            R"({"AuthFlow":"REFRESH_TOKEN_AUTH","AuthParameters":{"REFRESH_TOKEN":")" + refresh + "\"}}" );
    }
    void convert()
    {
        const auto archive = folder_.path() / "input.zip";
        std::filesystem::create_directory( folder_.path() / "packed" );
        std::filesystem::copy_file(
            std::filesystem::path( ORVANTA_SAMPLES ) / "bracket.step", folder_.path() / "packed/marked-file.step" );
        secret( "marked-file" );
        ASSERT_TRUE( compressZip( archive, folder_.path() / "packed" ) );
        const auto common = R"("input_format":"step","compress_input":"zip","access_token":")" + token_ + "\"";
        const auto asked = bodyOf( call( "-d '{" + common + "}'", "/converter/v2/request" ) )["result"];
        const auto id = asked["request_id"].asString(), url = asked["url"].asString();
        secret( id );
        secret( url.substr( url.find( '?' ) + 1 ) );
        call( "-T " + archive.string(), url );
        const auto queued = call(
            "-d '{" + common + R"(,"request_id":")" + id + R"(","output_format":"vxu"}')", "/converter/v2/convert" );
        queuedBy_ = idOf( queued );
        Json::Value status;
        while ( status["state"].asString() != "finished" )
        {
            const auto answer = bodyOf( call( "", "/converter/v2/status?request_id=" + id ) );
            ASSERT_TRUE( answer.isMember( "result" ) ) << answer;
            status = answer["result"];
        }
        secret( status["url"].asString().substr( status["url"].asString().find( '?' ) + 1 ) );
        call( "-o /dev/null", status["url"].asString() );
    }
    void useTheRest()
    {
        const auto session = bodyOf(
            call( R"(-d '{"type":"createSession","email":"stats.marked@example.org"}')", "/stats/log" ) )["sessionId"]
                                 .asString();
        secret( "stats.marked@example.org" );
        secret( "marked-action" );
        call( R"(-d '{"type":"logAction","email":"stats.marked@example.org","actionNames":[{"name":"marked-action",)"
              R"("ts":1}],"sessionId":)" +
                  session + "}'",
            "/stats/log" );
        secret( "marked-query" );
        secret( "marked-path" );
        secret( "MARKED-METHOD" );
        secret( "marked-header" );
        for ( const char* path : { "/version/latesttag", "/livez", "/healthz", "/download", "/.well-known/jwks.json",
                  "/marked-path", "/auth/marked-path", "/orvanta/marked-path", "/converter/v2/marked-path" } )
            call( "-H 'Authorization: marked-header' -H 'X-Request-Id: marked-header'",
                std::string( path ) + "?token=marked-query" );
        for ( const char* path : { "/livez", "/healthz", "/readyz", "/metrics" } )
            call( "", "http://" + cMonitorAt + path );
        call( "-X MARKED-METHOD", "/livez" );
        call( "-H 'X: " + std::string( 20'000, 'x' ) + "'", "/marked-path?marked-query" );
    }
    /// Whose a session is stands in the statistics as a code that nobody makes without the service's key.
    void expectACodeForTheUser()
    {
        const auto keys = Backend::readIdentityKeys( backend_.data() ).value();
        const auto database = Backend::Database::openExisting( backend_.data() / "statistics.db" ).value();
        const auto rows = database->query( "SELECT user FROM stats_sessions" ).value();
        ASSERT_EQ( rows.size(), 1u );
        EXPECT_EQ( Backend::textOf( rows[0][0] ), Backend::codeOfUser( "stats.marked@example.org", keys.codes ) );
    }
    std::vector<Json::Value> lines()
    {
        backend_.signal( SIGTERM );
        EXPECT_EQ( backend_.awaitEnd(), 0 );
        std::vector<Json::Value> out;
        std::ifstream in( log_ );
        for ( std::string line; std::getline( in, line ); )
        {
            text_ += line + "\n";
            const auto json = deserializeJsonValue( line );
            EXPECT_TRUE( json && json->isObject() ) << line;
            out.push_back( json.value_or( Json::Value( Json::objectValue ) ) );
        }
        return out;
    }

    Testing::ScratchFolder folder_;
    std::filesystem::path log_ = folder_.path() / "log";
    Testing::BackendProcess backend_{ { "--log-format", "json", "--monitor", cMonitorAt }, log_ };
    std::string token_, queuedBy_, text_;
    std::set<std::string> secrets_;
};

} // namespace

TEST_F( LogLines, EachRequestIsOneAndNoSecretOfAnyServiceIsInThem )
{
    useAccounts();
    convert();
    useTheRest();
    std::set<std::string> services, routes, ids;
    size_t requests = 0;
    for ( const auto& line : lines() )
    {
        EXPECT_TRUE( line["time"].asString().ends_with( "Z" ) && line["time"].asString().size() == 24 );
        EXPECT_TRUE( line.isMember( "level" ) && line.isMember( "message" ) );
        if ( line["message"].asString() != "request" )
            continue;
        ++requests;
        ids.insert( line["id"].asString() );
        services.insert( line["service"].asString() );
        routes.insert( line["route"].asString() );
        EXPECT_TRUE( line["status"].isInt() && line["duration"].isDouble() && line["sent"].isInt() ) << line;
    }
    EXPECT_EQ( ids.size(), requests ) << "each has a name of its own";
    EXPECT_EQ( services, ( std::set<std::string>{ "auth", "converter", "health", "keys", "liveness", "metrics", "none",
                             "site", "statistics", "storage", "version" } ) );
    EXPECT_EQ( routes, ( std::set<std::string>{ "", "/.well-known/jwks.json", "/auth", "/converter/v2/convert",
                           "/converter/v2/request", "/converter/v2/status", "/download", "/healthz", "/livez",
                           "/metrics", "/readyz", "/stats/log", "/version/latesttag" } ) );
    expectACodeForTheUser();
    for ( const auto& secret : secrets_ )
        EXPECT_EQ( text_.find( secret ), std::string::npos ) << secret << "\n" << text_;
}

TEST_F( LogLines, AConversionIsFoundByTheRequestThatQueuedIt )
{
    useAccounts();
    convert();
    std::vector<std::string> about;
    for ( const auto& line : lines() )
        if ( line["id"].asString() == queuedBy_ )
            about.push_back( line["message"].asString().substr( 0, 16 ) );
    EXPECT_EQ( about.size(), 4u );
    for ( const std::string message : { "conversion queue", "request", "Conversion begun", "Conversion done " } )
        EXPECT_NE( std::find( about.begin(), about.end(), message ), about.end() ) << message;
}
