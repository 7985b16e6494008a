#include "support/LogCapture.h"
#include "support/service/IdentityFixture.h"

#include "crypto/Base64.h"
#include "identity/Passwords.h"
#include "text/JsonText.h"

#include <fmt/format.h>

#include <sstream>
#include <thread>

using namespace VX;
using namespace VX::Testing;

namespace
{

/// Every run of digits of a text.
std::vector<std::string> numbersIn( const std::string& text )
{
    constexpr const char* cDigits = "0123456789";
    std::vector<std::string> out;
    for ( size_t end = 0, from = 0; ( from = text.find_first_of( cDigits, end ) ) != std::string::npos; )
    {
        end = std::min( text.find_first_not_of( cDigits, from ), text.size() );
        out.push_back( text.substr( from, end - from ) );
    }
    return out;
}

} // namespace

TEST_F( Identity, SignUpMailsACodeToTheMaskedAddress )
{
    const auto response = signUp();
    ASSERT_EQ( problem( response ), "" );
    const auto body = json( response );
    EXPECT_EQ( body["CodeDeliveryDetails"]["Destination"], "a***@e***" );
    EXPECT_EQ( body["CodeDeliveryDetails"]["DeliveryMedium"], "EMAIL" );
    EXPECT_EQ( body["CodeDeliveryDetails"]["AttributeName"], "email" );
    EXPECT_EQ( body["UserConfirmed"], false );
    EXPECT_FALSE( body["UserSub"].asString().empty() );
    ASSERT_EQ( mailer_.mails.size(), 1u );
    EXPECT_EQ( mailer_.mails[0].to, cAnn );
    EXPECT_EQ( mailedCode().find_first_not_of( "0123456789" ), std::string::npos );
    EXPECT_EQ( problem( signIn() ), "UserNotConfirmedException: User is not confirmed." );
}

TEST_F( Identity, TokensSayWhatClientsReadInThem )
{
    addAnn();
    const auto result = json( signIn() )["AuthenticationResult"];
    const auto partOf = [&]( const char* token, int part )
    {
        std::istringstream in( result[token].asString() );
        std::string text;
        for ( int i = 0; i <= part; ++i )
            std::getline( in, text, '.' );
        return deserializeJsonValue( fromBase64Url( text ).value_or( "" ) ).value_or( Json::Value() );
    };
    const auto access = partOf( "AccessToken", 1 ), id = partOf( "IdToken", 1 );
    for ( const char* token : { "AccessToken", "IdToken" } )
        EXPECT_EQ( compactJson( partOf( token, 0 ) ),
            R"({"alg":"EdDSA","kid":")" + keyPairOf( keys_.signing.back().seed ).id + R"(","typ":"JWT"})" );
    EXPECT_EQ( access.getMemberNames(),
        ( Json::Value::Members{ "exp", "generation", "iat", "jti", "sub", "token_use", "username" } ) );
    EXPECT_EQ( id.getMemberNames(), ( Json::Value::Members{ "cognito:username", "email", "email_verified", "exp", "iat",
                                        "jti", "sub", "token_use" } ) );
    EXPECT_EQ( access["token_use"], "access" );
    EXPECT_EQ( id["token_use"], "id" );
    EXPECT_EQ( access["username"], access["sub"] );
    EXPECT_EQ( id["cognito:username"], access["sub"] );
    EXPECT_EQ( id["sub"], access["sub"] );
    EXPECT_EQ( id["email"], cAnn );
    EXPECT_EQ( id["email_verified"], true );
    EXPECT_NE( id["jti"], access["jti"] );
    for ( const auto& claims : { access, id } )
        EXPECT_EQ( claims["exp"].asInt64() - claims["iat"].asInt64(), 3600 );
}

TEST_F( Identity, SignInGivesTokensThatOpenTheDoors )
{
    addAnn();
    const auto response = signIn( cPassword, "ANN@Example.ORG" );
    ASSERT_EQ( problem( response ), "" );
    const auto result = json( response )["AuthenticationResult"];
    EXPECT_EQ( result["TokenType"], "Bearer" );
    EXPECT_EQ( result["ExpiresIn"], 3600 );
    EXPECT_TRUE( mayEnter( result["AccessToken"].asString() ) );
    EXPECT_FALSE( mayEnter( result["IdToken"].asString() ) ) << "it is for the client's own use";
    EXPECT_FALSE( mayEnter( result["RefreshToken"].asString() ) );
    const auto again = refresh( result["RefreshToken"].asString() );
    ASSERT_EQ( problem( again ), "" );
    EXPECT_TRUE( mayEnter( json( again )["AuthenticationResult"]["AccessToken"].asString() ) );
    EXPECT_FALSE( json( again )["AuthenticationResult"].isMember( "RefreshToken" ) );
    const auto user = call( "GetUser", object( { { "AccessToken", result["AccessToken"].asString() } } ) );
    EXPECT_EQ( json( user )["UserAttributes"][0]["Value"], cAnn );
    now_ += 3600;
    EXPECT_FALSE( mayEnter( result["AccessToken"].asString() ) ) << "it has expired";
    EXPECT_EQ( problem( call( "GetUser", object( { { "AccessToken", result["AccessToken"].asString() } } ) ) ),
        "NotAuthorizedException: Invalid Access Token" );
}

TEST_F( Identity, WrongPasswordAndUnknownUserAreToldTheSame )
{
    addAnn();
    EXPECT_EQ( problem( signIn( "wrong-word-1" ) ), cIncorrect );
    EXPECT_EQ( problem( signIn( cPassword, "bob@example.org" ) ), cIncorrect );
    EXPECT_EQ( problem( signIn( cPassword, "no address" ) ), cIncorrect );
}

TEST_F( Identity, TwentyWrongPasswordsLockForLongerAndLonger )
{
    addAnn();
    for ( int i = 0; i < 5; ++i )
        EXPECT_EQ( problem( signIn( "wrong-word-1" ) ), cIncorrect ) << i;
    EXPECT_EQ( problem( signIn() ), "NotAuthorizedException: Password attempts exceeded" ) << "even the right one";
    now_ += 1;
    EXPECT_EQ( problem( signIn( "wrong-word-1" ) ), cIncorrect );
    now_ += 1;
    EXPECT_EQ( problem( signIn() ), "NotAuthorizedException: Password attempts exceeded" );
    for ( int i = 0; i < 14; ++i )
    {
        now_ += 900;
        EXPECT_EQ( problem( signIn( "wrong-word-1" ) ), cIncorrect ) << i;
    }
    now_ += 899;
    EXPECT_EQ( problem( signIn() ), "NotAuthorizedException: Password attempts exceeded" );
    now_ += 1;
    EXPECT_EQ( problem( signIn() ), "" );
    EXPECT_EQ( problem( signIn( "wrong-word-1" ) ), cIncorrect ) << "a success forgets them";
    for ( int i = 0; i < 5; ++i )
        (void)signIn( cPassword, "bob@example.org" );
    EXPECT_EQ( problem( signIn( cPassword, "bob@example.org" ) ), "NotAuthorizedException: Password attempts exceeded" )
        << "whether there is such a user or not";
}

TEST_F( Identity, RefreshTokensExpireAndStrangersAreRefused )
{
    addAnn();
    const auto token = json( signIn() )["AuthenticationResult"]["RefreshToken"].asString();
    EXPECT_EQ( problem( refresh( "stranger" ) ), "NotAuthorizedException: Invalid Refresh Token." );
    now_ += std::chrono::seconds( std::chrono::days( 30 ) ).count();
    EXPECT_EQ( problem( refresh( token ) ), "NotAuthorizedException: Refresh Token has expired" );
    ASSERT_TRUE( accounts_.clean() );
    EXPECT_EQ( problem( refresh( token ) ), "NotAuthorizedException: Refresh Token has expired" );
    now_ += std::chrono::seconds( std::chrono::days( 30 ) ).count();
    ASSERT_TRUE( accounts_.clean() );
    EXPECT_EQ( problem( refresh( token ) ), "NotAuthorizedException: Invalid Refresh Token." );
}

TEST_F( Identity, SecretsAreInTheDatabaseAsHashesOnly )
{
    ASSERT_EQ( problem( signUp() ), "" );
    const auto code = mailedCode();
    ASSERT_EQ( problem( confirm( code ) ), "" );
    const auto token = json( signIn() )["AuthenticationResult"]["RefreshToken"].asString();
    ASSERT_EQ( problem( forgot() ), "" );
    std::string all;
    for ( const auto& entry : std::filesystem::directory_iterator( folder_.path() ) )
        if ( entry.path().filename().string().starts_with( "orvanta.db" ) )
            all += readFile( entry.path() );
    EXPECT_EQ( all.find( token ), std::string::npos );
    EXPECT_EQ( all.find( cPassword ), std::string::npos );
    EXPECT_EQ( all.find( "\x06" + mailedCode() ), std::string::npos );
    EXPECT_NE( all.find( "$argon2id$" ), std::string::npos );
}

TEST_F( Identity, CodesOfASignUp )
{
    ASSERT_EQ( problem( signUp() ), "" );
    const auto code = mailedCode();
    EXPECT_EQ( problem( confirm( code, "bob@example.org" ) ), cExpiredCode );
    EXPECT_EQ( problem( confirm( wrong( code ) ) ), cMismatch );
    now_ += 24 * 3600;
    EXPECT_EQ( problem( confirm( code ) ), cExpiredCode );
    ASSERT_EQ( problem( resend() ), "" );
    EXPECT_EQ( problem( confirm( wrong( mailedCode() ) ) ), cMismatch );
    EXPECT_EQ( problem( confirm( mailedCode() ) ), "" );
    EXPECT_EQ( problem( confirm( mailedCode() ) ), cExpiredCode ) << "it needs none any more";
    EXPECT_EQ( problem( resend() ), "InvalidParameterException: User is already confirmed." );
    EXPECT_EQ( problem( resend( "bob@example.org" ) ), "UserNotFoundException: User does not exist." );
}

TEST_F( Identity, ACodeBearsFiveTries )
{
    ASSERT_EQ( problem( signUp() ), "" );
    const auto code = mailedCode();
    for ( int i = 0; i < 5; ++i )
        EXPECT_EQ( problem( confirm( wrong( code ) ) ), cMismatch );
    EXPECT_EQ( problem( confirm( code ) ), cLimit ) << "not even the right one now";
    ASSERT_EQ( problem( resend() ), "" );
    EXPECT_EQ( problem( confirm( mailedCode() ) ), "" );
}

TEST_F( Identity, ForgottenPasswordIsReplacedByItsCodeAndEndsTheSignIns )
{
    addAnn();
    const auto token = json( signIn() )["AuthenticationResult"]["RefreshToken"].asString();
    EXPECT_EQ( problem( forgot( "bob@example.org" ) ), "UserNotFoundException: User does not exist." );
    EXPECT_EQ( problem( confirmForgot( "123456", "other-word-2" ) ), cExpiredCode ) << "none was asked for";
    const auto asked = forgot();
    ASSERT_EQ( problem( asked ), "" );
    EXPECT_EQ( json( asked )["CodeDeliveryDetails"]["Destination"], "a***@e***" );
    EXPECT_EQ( problem( confirmForgot( mailedCode(), "weak" ) ),
        "InvalidPasswordException: Password did not conform with policy: Password not long enough" );
    EXPECT_EQ( problem( confirmForgot( wrong( mailedCode() ), "other-word-2" ) ), cMismatch );
    EXPECT_EQ( problem( signIn() ), "" ) << "the old one is good until then";
    EXPECT_EQ( problem( confirmForgot( mailedCode(), "other-word-2" ) ), "" );
    EXPECT_EQ( problem( confirmForgot( mailedCode(), "other-word-3" ) ), cExpiredCode ) << "it is used up";
    EXPECT_EQ( problem( signIn() ), cIncorrect );
    EXPECT_EQ( problem( signIn( "other-word-2" ) ), "" );
    EXPECT_EQ( problem( refresh( token ) ), "NotAuthorizedException: Invalid Refresh Token." );
    ASSERT_EQ( problem( forgot() ), "" );
    now_ += 3600;
    EXPECT_EQ( problem( confirmForgot( mailedCode(), "other-word-3" ) ), cExpiredCode ) << "an hour is over";
}

TEST_F( Identity, AnUnconfirmedAccountIsSavedByAReset )
{
    ASSERT_EQ( problem( signUp() ), "" );
    EXPECT_EQ( problem( signUp() ), "UsernameExistsException: An account with the given email already exists." );
    ASSERT_EQ( problem( forgot() ), "" );
    ASSERT_EQ( problem( confirmForgot( mailedCode(), "other-word-2" ) ), "" );
    EXPECT_EQ( problem( signIn( "other-word-2" ) ), "" );
}

TEST_F( Identity, MailsOfCodesHoldOneNumberAndSayHowToGoOn )
{
    ASSERT_EQ( problem( signUp() ), "" );
    ASSERT_EQ( problem( forgot() ), "" );
    ASSERT_EQ( mailer_.mails.size(), 2u );
    for ( const auto& mail : mailer_.mails )
    {
        const auto numbers = numbersIn( mail.text );
        EXPECT_EQ( std::count_if( numbers.begin(), numbers.end(), []( const auto& n ) { return n.size() == 6; } ), 1 )
            << mail.text;
    }
    for ( const char* words : { "Was Orvanta closed", "\"password?\" behind \"Forgot your\"", "\"Reset My Password\"",
              "\"Change Password\"" } )
        EXPECT_NE( mailer_.mails[0].text.find( words ), std::string::npos ) << words;
}

TEST_F( Identity, TheCodeOfASignUpIsGoodInTheResetFormWhateverWasMailedAfterIt )
{
    ASSERT_EQ( problem( signUp() ), "" );
    const auto first = mailedCode();
    ASSERT_EQ( problem( resend() ), "" );
    ASSERT_EQ( problem( forgot() ), "" );
    const auto last = mailedCode();
    ASSERT_EQ( problem( confirmForgot( first, "other-word-2" ) ), "" );
    EXPECT_EQ( problem( signIn( "other-word-2" ) ), "" );
    EXPECT_EQ( problem( confirmForgot( first, "other-word-3" ) ), cExpiredCode ) << "it is used up";
    EXPECT_EQ( problem( confirmForgot( last, "other-word-3" ) ), cExpiredCode ) << "and so are those beside it";
}

TEST_F( Identity, AResetCodeConfirmsNoSignUpAndAConfirmedAccountHasNoSignUpCodeLeft )
{
    ASSERT_EQ( problem( signUp() ), "" );
    const auto first = mailedCode();
    ASSERT_EQ( problem( resend() ), "" );
    const auto second = mailedCode();
    ASSERT_EQ( problem( forgot() ), "" );
    ASSERT_TRUE( mailedCode() != first && mailedCode() != second ) << "once in half a million times they are the same";
    EXPECT_EQ( problem( confirm( mailedCode() ) ), cMismatch );
    ASSERT_EQ( problem( confirm( second ) ), "" ) << "the later of two is good, too";
    EXPECT_EQ( problem( signIn() ), "" );
    now_ += 3600; // the reset code ends
    EXPECT_EQ( problem( confirmForgot( first, "other-word-2" ) ), cExpiredCode );
}

TEST_F( Identity, ACodeBearsFiveTriesInBothFormsTogether )
{
    ASSERT_EQ( problem( signUp() ), "" );
    const auto code = mailedCode();
    for ( int i = 0; i < 5; ++i )
        EXPECT_EQ(
            problem( i % 2 ? confirm( wrong( code ) ) : confirmForgot( wrong( code ), "other-word-2" ) ), cMismatch );
    EXPECT_EQ( problem( confirm( code ) ), cLimit );
    EXPECT_EQ( problem( confirmForgot( code, "other-word-2" ) ), cLimit );
    ASSERT_EQ( problem( forgot() ), "" );
    const auto reset = mailedCode();
    ASSERT_NE( reset, code ) << "once in a million times they are the same";
    EXPECT_EQ( problem( confirmForgot( code, "other-word-2" ) ), cMismatch ) << "a new one does not revive it";
    EXPECT_EQ( problem( confirmForgot( reset, "other-word-2" ) ), "" );
}

TEST_F( Identity, ARightPasswordOfAnUnconfirmedAccountMailsTheCodeAgainWithinLimits )
{
    constexpr const char* cUnconfirmed = "UserNotConfirmedException: User is not confirmed.";
    ASSERT_EQ( problem( signUp() ), "" );
    EXPECT_EQ( problem( signIn( "wrong-word-1" ) ), cIncorrect );
    EXPECT_EQ( mailer_.mails.size(), 1u ) << "whoever does not know the password sends nothing";
    EXPECT_EQ( problem( signIn() ), cUnconfirmed );
    ASSERT_EQ( mailer_.mails.size(), 2u );
    EXPECT_EQ( mailer_.mails[1].to, cAnn );
    EXPECT_EQ( mailer_.mails[1].subject, mailer_.mails[0].subject );
    for ( int i = 0; i < 20; ++i )
        EXPECT_EQ( problem( signIn() ), cUnconfirmed ) << i;
    EXPECT_EQ( mailer_.mails.size(), 7u );
    EXPECT_EQ( problem( forgot() ), "" ) << "the way out is not barred by it";
    now_ += 900;
    EXPECT_EQ( problem( signIn() ), cUnconfirmed );
    EXPECT_EQ( mailer_.mails.size(), 9u );
    ASSERT_EQ( problem( confirmForgot( mailedCode(), "other-word-2" ) ), "" );
    EXPECT_EQ( problem( signIn( "other-word-2" ) ), "" );
    EXPECT_EQ( mailer_.mails.size(), 9u );
}

TEST_F( Identity, AReminderThatCannotBeMailedChangesNoAnswer )
{
    ASSERT_EQ( problem( signUp() ), "" );
    mailer_.broken = true;
    const LogCapture log;
    EXPECT_EQ( problem( signIn() ), "UserNotConfirmedException: User is not confirmed." );
    EXPECT_TRUE( log.contains( "error: The mail server refuses" ) );
}

TEST_F( Identity, CodesMailedByAnOlderVersionStayGood )
{
    ASSERT_EQ( problem( signUp() ), "" );
    ASSERT_TRUE( executeAll( *database_,
        { "CREATE TABLE codes(account TEXT NOT NULL, purpose TEXT NOT NULL, hash TEXT NOT NULL, expires INTEGER NOT "
          "NULL, tries INTEGER NOT NULL, PRIMARY KEY(account, purpose))",
            "INSERT INTO codes SELECT account, purpose, hash, expires, tries FROM mailed_codes",
            "DROP TABLE mailed_codes" } ) );
    ASSERT_TRUE( Accounts::prepare( *database_ ) );
    EXPECT_EQ( problem( confirm( mailedCode() ) ), "" );
}

TEST_F( Identity, WhenTheMailCannotBeSentTheAddressIsFreeAgain )
{
    mailer_.broken = true;
    const LogCapture log;
    EXPECT_EQ(
        problem( signUp() ), "CodeDeliveryFailureException: The code could not be sent; please try again later" );
    EXPECT_TRUE( log.contains( "error: The mail server refuses" ) );
    mailer_.broken = false;
    EXPECT_EQ( problem( signUp() ), "" );
}

TEST_F( Identity, PasswordsMustKeepTheRules )
{
    const std::map<std::string, std::string> problems{ { "a-1", "Password not long enough" },
        { std::string( 98, 'a' ) + "-1", "Password too long" },
        { "ABCDEF-1", "Password must have lowercase characters" },
        { "abcdefg-", "Password must have numeric characters" }, { "abcdefg1", "Password must have symbol characters" },
        { "abcdef-1\n", "Password must not have control characters" } };
    for ( const auto& [password, text] : problems )
        EXPECT_EQ( problem( signUp( cAnn, password ) ),
            "InvalidPasswordException: Password did not conform with policy: " + text );
    EXPECT_EQ( passwordProblem( randomPassword() ), "" );
    EXPECT_NE( randomPassword(), randomPassword() );
}

TEST_F( Identity, AddressesThatAreNone )
{
    for ( const std::string& email : { std::string(), std::string( "ann" ), std::string( "@b.c" ), std::string( "a@b" ),
              std::string( "a@b@c.d" ), std::string( "a\r\nBcc: x@b.c" ), std::string( "a b@c.d" ),
              std::string( "a@b.c\0", 6 ), std::string( "a<b@c.d" ), std::string( 10000, 'x' ) + "@b.c" } )
        EXPECT_EQ( problem( signUp( email ) ), "InvalidParameterException: Username should be an email." ) << email;
    for ( const char* email : { "o'brien@example.org", "\"q\"@example.org", "j\xc3\xb6rg@example.org", "';--@x.y" } )
    {
        EXPECT_EQ( problem( signUp( email ) ), "" ) << email;
        EXPECT_EQ( mailer_.mails.back().to, Accounts::normalized( email ) );
    }
}

TEST_F( Identity, MailsAreLimitedByAccountAndByAddress )
{
    addAnn();
    for ( int i = 0; i < 7; ++i )
        ASSERT_EQ( problem( forgot() ), "" );
    EXPECT_EQ( problem( forgot() ), cLimit );
    now_ += 900;
    EXPECT_EQ( problem( forgot() ), "" );
    std::string last;
    for ( int i = 0; i < 100; ++i )
        last =
            problem( call( "ForgotPassword", object( { { "Username", fmt::format( "u{}@b.c", i ) } } ), "elsewhere" ) );
    EXPECT_EQ( last, "UserNotFoundException: User does not exist." );
    EXPECT_EQ( problem( call( "ForgotPassword", object( { { "Username", "x@b.c" } } ), "elsewhere" ) ), cLimit );
}

TEST_F( Identity, TwoConfirmationsAtOnceHaveOneWinner )
{
    for ( int round = 0; round < 5; ++round )
    {
        const auto email = fmt::format( "u{}@example.org", round );
        ASSERT_EQ( problem( signUp( email ) ), "" );
        const auto code = mailedCode();
        auto first = std::async( std::launch::async, [&] { return problem( confirm( code, email ) ); } );
        auto second = std::async( std::launch::async, [&] { return problem( confirm( code, email ) ); } );
        const auto a = first.get(), b = second.get();
        EXPECT_NE( a.empty(), b.empty() ) << a << " / " << b;
    }
}

TEST_F( Identity, WhatACrashCutsOffIsTakenBack )
{
    addAnn();
    {
        Database::Transaction transaction( *database_ );
        const auto account = accounts_.find( cAnn ).value();
        ASSERT_TRUE( accounts_.setPassword( account->id, "gone" ) );
        ASSERT_TRUE( accounts_.add( "bob@example.org", "x", true ) );
    }
    EXPECT_FALSE( accounts_.find( "bob@example.org" ).value() );
    EXPECT_EQ( problem( signIn() ), "" );
}

TEST_F( Identity, RequestsThatCannotBeUnderstood )
{
    for ( const char* body : { "", "[]", "7", "{", "<html>", "{}{}" } )
        EXPECT_EQ( problem( call( "SignUp", body ) ), "SerializationException: The request is not a JSON object" );
    EXPECT_EQ( problem( call( "DeleteUserPool", "{}" ) ), "UnknownOperationException: There is no such operation" );
    HttpRequest request;
    request.body = "{}";
    std::promise<HttpResponse> promise;
    api_.handle( request, [&]( HttpResponse response ) { promise.set_value( std::move( response ) ); } );
    EXPECT_EQ( problem( promise.get_future().get() ),
        "UnknownOperationException: The header x-amz-target names no operation" );
    request.method = "GET";
    EXPECT_EQ( api_.planBody( request ).refusal->status, 405 );
    const std::map<std::string, std::string> problems{
        { "{}", "The AuthFlow is none of USER_PASSWORD_AUTH and REFRESH_TOKEN_AUTH" },
        { R"({"AuthFlow":"USER_PASSWORD_AUTH"})", "Missing required parameter USERNAME" },
        { R"({"AuthFlow":"USER_PASSWORD_AUTH","AuthParameters":[]})", "Missing required parameter USERNAME" },
        { R"({"AuthFlow":"USER_PASSWORD_AUTH","AuthParameters":{"USERNAME":"a@b.c","PASSWORD":{}}})",
            "Missing required parameter PASSWORD" },
        { R"({"AuthFlow":"REFRESH_TOKEN_AUTH","AuthParameters":"x"})", "Missing required parameter REFRESH_TOKEN" } };
    for ( const auto& [body, text] : problems )
        EXPECT_EQ( problem( call( "InitiateAuth", body ) ), "InvalidParameterException: " + text );
}

TEST_F( Identity, SecretsAreInNoLogLine )
{
    const LogCapture log;
    addAnn();
    const auto token = json( signIn() )["AuthenticationResult"]["RefreshToken"].asString();
    (void)signIn( "wrong-word-1" );
    (void)forgot();
    (void)confirmForgot( "999999", "other-word-2" );
    for ( const std::string& secret : { std::string( cPassword ), token, mailedCode(), std::string( "wrong-word-1" ) } )
        EXPECT_FALSE( log.contains( secret ) ) << log.text();
}

TEST_F( Identity, NewAddressesHoldNothingThatSteersATerminal )
{
    for ( const char* sign : { "\u009b", "\u0085", "\u202e", "\u2066", "\u200f", "\xff" } )
        EXPECT_EQ( problem( call( "SignUp",
                       R"({"Username":"a)" + std::string( sign ) + R"(b@example.org","Password":"secret-word-1"})" ) ),
            "InvalidParameterException: Username should be an email." );
    EXPECT_EQ( problem( signUp( "jürgen@example.org" ) ), "" ) << "letters of all scripts";
    const std::string old = "a\u202eb@example.org";
    ASSERT_TRUE( accounts_.add( old, hashPassword( cPassword ), true ) );
    EXPECT_EQ( problem( signIn( cPassword, old ) ), "" ) << "accounts of older versions stay";
}

TEST_F( Identity, TokensOfStrangersAreRefused )
{
    addAnn();
    const auto id = accounts_.find( cAnn ).value()->id;
    const AccessTokens stranger( { { std::string( 32, 's' ), {} } }, std::chrono::hours( 1 ), clock_ );
    EXPECT_TRUE( mayEnter( tokens_.accessToken( { id, cAnn } ) ) );
    EXPECT_FALSE( mayEnter( stranger.accessToken( { id, cAnn } ) ) );
    EXPECT_FALSE( mayEnter( tokens_.accessToken( { "nobody", cAnn } ) ) ) << "a removed account";
    const auto claims = base64Url( R"({"sub":")" + id + R"(","token_use":"access","exp":99999999999})" );
    const auto none = base64Url( R"({"alg":"none","typ":"JWT"})" );
    for ( const auto& token : { none + "." + claims + ".", none + "." + claims, claims, std::string( "." ),
              std::string( ".." ), std::string(), std::string( 1 << 20, 'x' ),
              base64Url( R"({"alg":"HS256"})" ) + "." + claims + "." + base64Url( std::string( 32, 'x' ) ) } )
        EXPECT_FALSE( mayEnter( token ) );
    auto altered = tokens_.accessToken( { id, cAnn } );
    for ( size_t i = 0; i < altered.size(); i += 7 )
    {
        auto token = altered;
        token[i] = token[i] == 'A' ? 'B' : 'A';
        EXPECT_FALSE( mayEnter( token ) ) << i;
    }
}
