#include "support/LogCapture.h"
#include "support/ScratchFolder.h"

#include <VXMesh/io/Json.h>
#include <VXOrvanta/account/AccountLock.h>
#include <VXOrvanta/account/AuthToken.h>
#include <VXOrvanta/account/AuthWindow.h>
#include <VXOrvanta/account/CredentialRules.h>
#include <VXOrvanta/account/Credentials.h>
#include <VXOrvanta/account/UserInfo.h>
#include <VXOrvanta/converter/ConverterProtocol.h>
#include <VXOrvanta/shell/OrvantaWindowTitle.h>
#include <VXOrvanta/telemetry/SessionLogs.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/system/UserDirs.h>
#include <VXViewer/web/ScriptedTransport.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <future>
#include <thread>
#include <type_traits>

using namespace VX;

namespace
{

class TokenFile : public testing::Test
{
protected:
    TokenFile()
    {
        ::setenv( "XDG_CONFIG_HOME", folder_.path().c_str(), 1 );
        setUserConfigName( "Orvanta" );
        (void)getUserConfigDir();
    }
    [[nodiscard]] std::filesystem::path tokenFolder() const { return getUserConfigDir() / "Token"; }
    AuthToken load( const std::string& text ) const
    {
        std::filesystem::create_directories( tokenFolder() );
        std::ofstream( tokenFolder() / ".token", std::ios::binary ) << text;
        return loadAuthToken();
    }
    static void expectEmpty( const AuthToken& token ) { EXPECT_EQ( token.login + token.token + token.endpoint, "" ); }
    Testing::ScratchFolder folder_;
};

} // namespace

TEST_F( TokenFile, IsWrittenAsOneObjectOfThreeTexts )
{
    saveAuthToken( { "ann@example.org", "refresh", "end" } );
    EXPECT_EQ( Testing::readFile( tokenFolder() / ".token" ),
        "{\n\t\"endpoint\" : \"end\",\n\t\"login\" : \"ann@example.org\",\n\t\"token\" : \"refresh\"\n}" );
    const auto read = loadAuthToken();
    EXPECT_EQ( read.login, "ann@example.org" );
    EXPECT_EQ( read.token, "refresh" );
    EXPECT_EQ( read.endpoint, "end" );
}

TEST_F( TokenFile, ReplacesALongerOne )
{
    saveAuthToken( { std::string( 500, 'x' ), "t", "e" } );
    saveAuthToken( {} );
    EXPECT_EQ( Testing::readFile( tokenFolder() / ".token" ),
        "{\n\t\"endpoint\" : \"\",\n\t\"login\" : \"\",\n\t\"token\" : \"\"\n}" );
}

TEST_F( TokenFile, WithoutALoginIsUsable )
{
    const auto token = load( R"({"token":"t","endpoint":"e"})" );
    EXPECT_EQ( token.login, "" );
    EXPECT_EQ( token.token, "t" );
    EXPECT_EQ( token.endpoint, "e" );
    EXPECT_EQ( load( R"({"login":7,"token":"t","endpoint":"e"})" ).token, "t" );
}

TEST_F( TokenFile, OfNoUseIsNoSignInAndNotWorthALine )
{
    const Testing::LogCapture log;
    expectEmpty( loadAuthToken() );
    for ( const char* text :
        { "", "{", "7", "[]", "null", R"({"login":"a","token":1,"endpoint":"e"})", R"({"login":"a","token":"t"})",
            R"({"login":"a","token":"t","endpoint":null})", R"({"login":"a","endpoint":"e"})" } )
        expectEmpty( load( text ) );
    expectEmpty( load( std::string( size_t( 100 ) << 20, 'x' ) ) );
    expectEmpty( load( std::string( "\x00\x01\xff", 3 ) ) );
    EXPECT_EQ( log.text(), "" );
}

TEST_F( TokenFile, AFileInTheFoldersPlaceIsLoggedAndLeft )
{
    std::ofstream( tokenFolder() ) << "mine";
    std::filesystem::permissions( tokenFolder(), std::filesystem::perms( 0644 ) );
    const Testing::LogCapture log;
    saveAuthToken( { "a", "t", "e" } );
    EXPECT_EQ( log.text(), "error: Cannot create folder...\n" );
    EXPECT_EQ( Testing::readFile( tokenFolder() ), "mine" );
    EXPECT_EQ( std::filesystem::status( tokenFolder() ).permissions(), std::filesystem::perms( 0644 ) );
}

TEST_F( TokenFile, ThatCannotBeOpenedIsNotWorthALine )
{
    std::filesystem::create_directories( tokenFolder() / ".token" );
    const Testing::LogCapture log;
    saveAuthToken( { "a", "t", "e" } );
    expectEmpty( loadAuthToken() );
    EXPECT_EQ( log.text(), "" );
}

TEST_F( TokenFile, BehindASymbolicLinkIsFollowed )
{
    const auto real = folder_.write( "elsewhere", R"({"token":"t","endpoint":"e"})" );
    std::filesystem::create_directories( tokenFolder() );
    std::filesystem::create_symlink( real, tokenFolder() / ".token" );
    EXPECT_EQ( loadAuthToken().token, "t" );
    std::filesystem::remove( tokenFolder() / ".token" );
    std::filesystem::create_symlink( tokenFolder() / ".token", tokenFolder() / ".token" );
    expectEmpty( loadAuthToken() );
}

TEST_F( TokenFile, LiesInAPrivateFolder )
{
    saveAuthToken( { "a", "t", "e" } );
    EXPECT_EQ( int( std::filesystem::status( getUserConfigDir() ).permissions() ), 0700 );
}

TEST_F( TokenFile, LiesInAFolderOfItsOwnerEvenWhereTheSettingsDoNot )
{
    using std::filesystem::perms;
    const auto open =
        perms::owner_all | perms::group_read | perms::group_exec | perms::others_read | perms::others_exec;
    std::filesystem::create_directories( tokenFolder() );
    std::filesystem::permissions( getUserConfigDir(), open );
    std::filesystem::permissions( tokenFolder(), open );
    saveAuthToken( { "a", "t", "e" } );
    EXPECT_EQ( std::filesystem::status( tokenFolder() ).permissions(), perms::owner_all );
    EXPECT_EQ( std::filesystem::status( getUserConfigDir() ).permissions(), open ) << "which are not ours alone";
    EXPECT_EQ( loadAuthToken().token, "t" );
}

TEST( Credentials, EmailAddresses )
{
    for ( const char* good :
        { "a@b.c", "ann@example.org", "a.b+c@d.e.f", "\xc3\xa9@b.c", "a@b..c", "a\"b@c.d", "a@.x.y", "a@b.AZaz09_" } )
        EXPECT_TRUE( isEmailAddress( good ) ) << good;
    for ( const char* bad : { "", "a", "@", "a@b", "@b.c", "a@.c", "a@b.", "a b@c.d", "a@b@c.d", "a/b@c.d", "a\\b@c.d",
              "a@b.c ", " a@b.c", "a@b.c-d", "a.b@c", "a@b c.d", "a@b.[", "a@b.`", "a@b.{", "a@b./", "a@b.:" } )
        EXPECT_FALSE( isEmailAddress( bad ) ) << bad;
    EXPECT_TRUE( isEmailAddress( std::string( 1 << 20, 'x' ) + "@" + std::string( 1 << 20, 'y' ) + ".org" ) );
}

TEST( Credentials, EachRuleOfAPassword )
{
    EXPECT_EQ( brokenPasswordRules( "abcdef-1" ), 0 );
    EXPECT_EQ( brokenPasswordRules( "" ), 15 );
    EXPECT_EQ( brokenPasswordRules( "abcde-1" ), 1 );
    EXPECT_EQ( brokenPasswordRules( "ABCDEF-1" ), 2 );
    EXPECT_EQ( brokenPasswordRules( "abcdefg-" ), 4 );
    EXPECT_EQ( brokenPasswordRules( "abcdefg1" ), 8 );
    EXPECT_EQ( brokenPasswordRules( "abcdef\\1" ), 8 ) << "a backslash is none of the special ones";
    EXPECT_EQ( brokenPasswordRules( "abcd+=1 " ), 8 );
    EXPECT_EQ( brokenPasswordRules( "abcdef-1\n" ), 15 );
    EXPECT_EQ( brokenPasswordRules( std::string( 97, 'a' ) + "-1" ), 0 ) << "99";
    EXPECT_EQ( brokenPasswordRules( std::string( 98, 'a' ) + "-1" ), 1 ) << "100";
    for ( const char c : std::string( "^$*.[]{}()?-\"!@#%&/,><':;|_~`" ) )
        EXPECT_EQ( brokenPasswordRules( std::string( "abcdef1" ) + c ), 0 ) << c;
}

namespace
{

/// Counts how often it is composed.
class CountingTitle final : public OrvantaWindowTitle
{
public:
    mutable int composed = 0;
    [[nodiscard]] std::string compose() const override
    {
        ++composed;
        return OrvantaWindowTitle::compose();
    }
};

class User : public TokenFile
{
protected:
    User()
    {
        CommandLoop::open();
        setWebTransport( transport_ );
        getViewerInstance().setViewerTitle( title_ );
        title_->composed = 0;
    }
    ~User() override
    {
        UserInfo::setEmail( {} );
        UserInfo::setAccessToken( {} );
        setWebTransport( nullptr );
    }
    [[nodiscard]] std::vector<std::string> logNames() const
    {
        std::vector<std::string> out;
        for ( const auto& request : transport_->sent() )
            out.push_back( request.logName );
        return out;
    }
    std::shared_ptr<ScriptedTransport> transport_ = std::make_shared<ScriptedTransport>();
    std::shared_ptr<CountingTitle> title_ = std::make_shared<CountingTitle>();
};

} // namespace

TEST_F( User, SignInOpensASessionAndShowsTheAddress )
{
    UserInfo::setEmail( "ann@example.org" );
    EXPECT_EQ( UserInfo::getEmail(), "ann@example.org" );
    EXPECT_EQ( logNames(), std::vector<std::string>{ "requestSessionId" } );
    EXPECT_EQ( title_->composed, 1 );
    EXPECT_TRUE( title_->compose().ends_with( "ann@example.org" ) ) << title_->compose();
    title_->composed = 1;
    UserInfo::setEmail( "ann@example.org" );
    EXPECT_EQ( title_->composed, 1 ) << "the title shows it already";
}

TEST_F( User, AccessTokenIsJustKept )
{
    UserInfo::setAccessToken( "t" );
    EXPECT_EQ( UserInfo::getAccessToken(), "t" );
    UserInfo::setAccessToken( {} );
    EXPECT_EQ( UserInfo::getAccessToken(), "" );
    EXPECT_TRUE( transport_->sent().empty() );
}

static_assert( !std::is_copy_constructible_v<UserInfo> && !std::is_default_constructible_v<UserInfo> );
static_assert( !std::is_copy_assignable_v<UserInfo> );
static_assert( !std::is_copy_constructible_v<SessionLogs> && !std::is_default_constructible_v<SessionLogs> );
static_assert( std::is_same_v<Vector2f, Vector2<float>> );
static_assert( std::is_same_v<decltype( AuthWindow::signOutSignal ), Signal<void()>> );

TEST_F( User, RequestOfAnotherThreadWaitsForASignInToBeProcessed )
{
    const std::string half( 40, 'h' ), whole( 60, 'w' );
    std::promise<void> begun;
    std::future<std::string> body;
    {
        const AccountLock lock;
        UserInfo::setAccessToken( half );
        body = std::async( std::launch::async,
            [&]
            {
                begun.set_value();
                return ConverterService::V2::startConvert( "id", "step", "vxu" ).data().body;
            } );
        begun.get_future().wait();
        for ( int i = 0; i < 10'000; ++i )
            std::this_thread::yield();
        UserInfo::setAccessToken( whole );
    }
    EXPECT_NE( body.get().find( whole ), std::string::npos );
}

TEST_F( User, TokenIsCopiedWholeWhileOthersSignInAndOut )
{
    const std::string tokens[] = { std::string( 40, 'a' ), std::string( 4000, 'b' ), std::string() };
    UserInfo::setAccessToken( {} );
    std::atomic<bool> ended = false;
    size_t strange = 0;
    std::thread signing(
        [&]
        {
            for ( int i = 0; i < 3000; ++i )
            {
                const AccountLock lock;
                UserInfo::setAccessToken( tokens[i % 3] );
            }
            ended = true;
        } );
    while ( !ended )
    {
        const auto request = ConverterService::V2::startConvert( "id", "step", "vxu" );
        const auto body = deserializeJsonValue( request.data().body ).value_or( Json::Value() );
        strange += std::find( std::begin( tokens ), std::end( tokens ), body["access_token"].asString() ) ==
                   std::end( tokens );
    }
    signing.join();
    EXPECT_EQ( strange, 0u );
}

namespace
{

class CredentialsFile : public testing::Test
{
protected:
    std::string errorOf( const std::string& text )
    {
        const auto read = readCredentials( folder_.write( "creds", text ).string() );
        return read ? "" : read.error();
    }
    Testing::ScratchFolder folder_;
};

} // namespace

TEST_F( CredentialsFile, LastOneOfTheCommandLineCountsAndAllAreTakenOut )
{
    std::vector<std::string> arguments{ "-creds", "a", "part.stl", "-creds", "b" };
    EXPECT_EQ( takeCredentialsArgument( arguments ), "b" );
    EXPECT_EQ( arguments, std::vector<std::string>{ "part.stl" } );
    arguments = { "part.stl", "-creds" };
    EXPECT_EQ( takeCredentialsArgument( arguments ), std::nullopt );
    EXPECT_EQ( arguments, std::vector<std::string>{ "part.stl" } );
    arguments = { "-creds", "" };
    EXPECT_EQ( takeCredentialsArgument( arguments ), "" ) << "a file of no name is a file that cannot be read";
    EXPECT_EQ( takeCredentialsArgument( arguments ), std::nullopt );
}

TEST_F( CredentialsFile, TellsWhyItIsOfNoUse )
{
    EXPECT_TRUE( errorOf( "{" ).starts_with( "Cannot read credentials file: " ) );
    EXPECT_TRUE( readCredentials( "/nowhere" ).error().starts_with( "Cannot read credentials file: " ) );
    for ( const char* text : { "[]", "{}", R"({"email":"a@b.c"})", R"({"email":"a@b.c","password":1})" } )
        EXPECT_EQ( errorOf( text ), "Credentials file is invalid" ) << text;
    EXPECT_EQ( errorOf( R"({"email":"nobody","password":"p"})" ), "Credentials file: email is invalid" );
    EXPECT_EQ( errorOf( R"({"email":"a@b.c","password":"p"})" ), "" );
}
