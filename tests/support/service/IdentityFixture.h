#pragma once

#include "support/ScratchFolder.h"
#include "support/service/OpenDatabase.h"

#include "identity/AuthApi.h"
#include "identity/EmbeddedIdentity.h"
#include "identity/keys/IdentityKeys.h"

#include <VXMesh/io/Json.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>

namespace VX::Testing
{

using namespace Backend;

inline constexpr const char* cAnn = "ann@example.org";
inline constexpr const char* cPassword = "secret-word-1";

/// A mail server that keeps what it is given.
class RecordingMailer final : public Mailer
{
public:
    tl::expected<void, std::string> send( const Mail& mail ) override
    {
        const std::lock_guard lock( mutex );
        if ( broken )
            return tl::unexpected( std::string( "The mail server refuses: no" ) );
        mails.push_back( mail );
        return {};
    }
    std::mutex mutex;
    std::vector<Mail> mails;
    bool broken = false;
};

/// The embedded identity service as a client sees it.
class Identity : public testing::Test
{
protected:
    Identity()
        : keys_( ensureIdentityKeys( folder_.path() ).value() )
        , database_( openDatabase( folder_.path() / "orvanta.db" ) )
        , clock_( [this] { return std::chrono::sys_seconds( std::chrono::seconds( now_.load() ) ); } )
        , accounts_( *database_, keys_.codes, clock_ )
        , tokens_( keys_.signing, std::chrono::hours( 1 ), clock_ )
        , mails_( *database_, mailer_, Delivery::AtOnce, clock_ )
        , identity_( *database_, accounts_, tokens_, mails_, options(), clock_ )
        , api_( identity_, keys_.codes, clock_ )
    {
    }
    static EmbeddedIdentityOptions options()
    {
        EmbeddedIdentityOptions out;
        out.mailsPerAccount = 8;
        return out;
    }

    /// What a client gets for an operation.
    HttpResponse call( const std::string& operation, const std::string& body, const std::string& address = "here" )
    {
        HttpRequest request;
        request.method = "POST";
        request.path = "/auth";
        request.headers["x-amz-target"] = "AWSCognitoIdentityProviderService." + operation;
        request.body = body;
        request.remoteAddress = address;
        std::promise<HttpResponse> promise;
        api_.handle( request, [&]( HttpResponse response ) { promise.set_value( std::move( response ) ); } );
        return promise.get_future().get();
    }
    static Json::Value json( const HttpResponse& response ) { return deserializeJsonValue( response.body ).value(); }
    /// "Type: message" of a refusal, "" of a success.
    static std::string problem( const HttpResponse& response )
    {
        EXPECT_EQ( response.contentType, "application/x-amz-json-1.1" );
        EXPECT_EQ( response.headers.at( "x-amzn-RequestId" ).size(), 36u );
        if ( response.status == 200 )
            return {};
        EXPECT_EQ( response.status, 400 );
        const auto body = json( response );
        EXPECT_EQ( response.headers.at( "x-amzn-ErrorType" ), body["__type"].asString() );
        EXPECT_EQ( body.size(), 2u );
        return body["__type"].asString() + ": " + body["message"].asString();
    }

    static std::string object( std::initializer_list<std::pair<const char*, std::string>> members )
    {
        Json::Value out( Json::objectValue );
        for ( const auto& [key, value] : members )
            out[key] = value;
        return out.toStyledString();
    }
    HttpResponse signUp( const std::string& email = cAnn, const std::string& password = cPassword )
    {
        return call( "SignUp", object( { { "Username", email }, { "Password", password } } ) );
    }
    HttpResponse confirm(
        const std::string& code, const std::string& email = cAnn, const std::string& address = "here" )
    {
        return call( "ConfirmSignUp", object( { { "Username", email }, { "ConfirmationCode", code } } ), address );
    }
    HttpResponse forgot( const std::string& email = cAnn )
    {
        return call( "ForgotPassword", object( { { "Username", email } } ) );
    }
    HttpResponse confirmForgot( const std::string& code, const std::string& password )
    {
        return call( "ConfirmForgotPassword",
            object( { { "Username", cAnn }, { "Password", password }, { "ConfirmationCode", code } } ) );
    }
    HttpResponse resend( const std::string& email = cAnn )
    {
        return call( "ResendConfirmationCode", object( { { "Username", email } } ) );
    }
    HttpResponse signIn(
        const std::string& password = cPassword, const std::string& email = cAnn, const std::string& address = "here" )
    {
        Json::Value body;
        body["AuthFlow"] = "USER_PASSWORD_AUTH";
        body["AuthParameters"]["USERNAME"] = email;
        body["AuthParameters"]["PASSWORD"] = password;
        return call( "InitiateAuth", body.toStyledString(), address );
    }
    HttpResponse refresh( const std::string& token )
    {
        Json::Value body;
        body["AuthFlow"] = "REFRESH_TOKEN_AUTH";
        body["AuthParameters"]["REFRESH_TOKEN"] = token;
        return call( "InitiateAuth", body.toStyledString() );
    }
    HttpResponse revoke( const std::string& token ) { return call( "RevokeToken", object( { { "Token", token } } ) ); }
    std::string mailedCode()
    {
        const std::lock_guard lock( mailer_.mutex );
        const auto& text = mailer_.mails.back().text;
        return text.substr( text.find( "code is " ) + 8, 6 );
    }
    static std::string wrong( const std::string& code ) { return code == "000000" ? "000001" : "000000"; }
    void addAnn()
    {
        ASSERT_EQ( problem( signUp() ), "" );
        ASSERT_EQ( problem( confirm( mailedCode() ) ), "" );
    }
    AccessCheck accessOf( const std::string& token )
    {
        AccessCheck out;
        identity_.checkAccess( token, "here", [&]( AccessCheck told ) { out = std::move( told ); } );
        return out;
    }
    bool mayEnter( const std::string& token ) { return accessOf( token ).verdict == AccessCheck::Verdict::Good; }

    ScratchFolder folder_;
    IdentityKeys keys_;
    std::atomic<int64_t> now_{ 1'700'000'000 };
    std::unique_ptr<Database> database_;
    AccessTokens::Clock clock_;
    Accounts accounts_;
    AccessTokens tokens_;
    RecordingMailer mailer_;
    MailQueue mails_;
    EmbeddedIdentity identity_;
    AuthApi api_;
};

inline constexpr const char* cMismatch = "CodeMismatchException: Invalid verification code provided, please try again.";
inline constexpr const char* cExpiredCode = "ExpiredCodeException: Invalid code provided, please request a code again.";
inline constexpr const char* cLimit = "LimitExceededException: Attempt limit exceeded, please try after some time.";
inline constexpr const char* cIncorrect = "NotAuthorizedException: Incorrect username or password.";

} // namespace VX::Testing
