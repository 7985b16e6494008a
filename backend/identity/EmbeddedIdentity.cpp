#include "identity/EmbeddedIdentity.h"

#include "identity/Passwords.h"
#include "identity/Refusals.h"

#include <VXMesh/io/Json.h>

#include <spdlog/spdlog.h>

namespace VX::Backend
{
namespace
{

constexpr size_t cLongestPassword = 1024;

HttpResponse disabled()
{
    return notAuthorized( "User is disabled." );
}

/// Whether a token is still one of its account, whose password may have been changed since.
bool isOf( const TokenOwner& owner, const std::optional<Account>& account )
{
    return account && owner.generation == account->generation;
}

} // namespace

EmbeddedIdentity::EmbeddedIdentity( Database& database, Accounts& accounts, const AccessTokens& tokens,
    MailQueue& mails, EmbeddedIdentityOptions options, const Clock& clock )
    : database_( database )
    , accounts_( accounts )
    , tokens_( tokens )
    , mails_( mails )
    , options_( options )
    , limits_( database, options, clock )
{
}

bool EmbeddedIdentity::isQuick( const AuthCall& call ) const
{
    return call.operation == "GetUser" ||
           ( call.operation == "InitiateAuth" && textMember( call.body, "AuthFlow" ) != "USER_PASSWORD_AUTH" );
}

HttpResponse EmbeddedIdentity::answer( const AuthCall& call )
{
    using Operation = Outcome ( EmbeddedIdentity::* )( const AuthCall& );
    static const std::map<std::string, Operation> sOperations{
        { "InitiateAuth", &EmbeddedIdentity::initiateAuth_ },
        { "SignUp", &EmbeddedIdentity::signUp_ },
        { "ConfirmSignUp", &EmbeddedIdentity::confirmSignUp_ },
        { "ResendConfirmationCode", &EmbeddedIdentity::resendCode_ },
        { "ForgotPassword", &EmbeddedIdentity::forgotPassword_ },
        { "ConfirmForgotPassword", &EmbeddedIdentity::confirmForgotPassword_ },
        { "RevokeToken", &EmbeddedIdentity::revokeToken_ },
        { "GetUser", &EmbeddedIdentity::getUser_ },
    };
    const auto found = sOperations.find( call.operation );
    if ( found == sOperations.end() )
        return authFailure( "UnknownOperationException", "There is no such operation" );
    auto outcome = ( this->*found->second )( call );
    if ( outcome )
        return std::move( *outcome );
    spdlog::error( "{} has no answer: {}", call.operation, outcome.error().text );
    return authUnavailable();
}

void EmbeddedIdentity::checkAccess( const std::string& accessToken, const std::string& /*address*/, AccessTold told )
{
    using Verdict = AccessCheck::Verdict;
    const auto owner = tokens_.ownerOf( accessToken );
    if ( !owner )
        return told( {} );
    const auto account = accounts_.findById( owner->account );
    if ( !account )
    {
        spdlog::error( "An access token cannot be checked: {}", account.error().text );
        return told( { Verdict::Unknown, {} } );
    }
    told( isOf( *owner, *account ) ? AccessCheck{ Verdict::Good, owner->account } : AccessCheck{} );
}

DatabaseResult<HttpResponse> EmbeddedIdentity::initiateAuth_( const AuthCall& call )
{
    const auto flow = textMember( call.body, "AuthFlow" );
    if ( flow == "USER_PASSWORD_AUTH" )
        return signInByPassword_( call );
    if ( flow == "REFRESH_TOKEN_AUTH" || flow == "REFRESH_TOKEN" )
        return signInByToken_( call );
    return invalidParameter( "The AuthFlow is none of USER_PASSWORD_AUTH and REFRESH_TOKEN_AUTH" );
}

Json::Value EmbeddedIdentity::tokensOf_( const Account& account, const std::string& refreshToken ) const
{
    const TokenOwner owner{ account.id, account.email, account.generation };
    Json::Value out;
    out["ChallengeParameters"] = Json::Value( Json::objectValue );
    auto& result = out["AuthenticationResult"];
    result["AccessToken"] = tokens_.accessToken( owner );
    result["IdToken"] = tokens_.idToken( owner );
    if ( !refreshToken.empty() )
        result["RefreshToken"] = refreshToken;
    result["ExpiresIn"] = Json::Int64( tokens_.life().count() );
    result["TokenType"] = "Bearer";
    return out;
}

DatabaseResult<HttpResponse> EmbeddedIdentity::signInByPassword_( const AuthCall& call )
{
    const auto& parameters = call.body["AuthParameters"];
    const auto name = textMember( parameters, "USERNAME" ), password = textMember( parameters, "PASSWORD" );
    if ( name.empty() )
        return invalidParameter( "Missing required parameter USERNAME" );
    if ( password.empty() )
        return invalidParameter( "Missing required parameter PASSWORD" );
    if ( limits_.triesSpent( call.remoteAddress ) )
        return limitExceeded();
    const auto email = Accounts::normalized( name );
    // However many fail, an account at which nobody does is never locked.
    const auto locked = limits_.failuresSpent().and_then( [&]( bool spent )
        { return accounts_.isLocked( email, call.remoteAddress, spent ? Patience::Short : Patience::Usual ); } );
    if ( !locked )
        return tl::unexpected( locked.error() );
    if ( *locked )
        return notAuthorized( "Password attempts exceeded" );
    const auto found = accounts_.find( email );
    if ( !found )
        return tl::unexpected( found.error() );
    const auto& account = *found;
    const bool good =
        isPasswordOf( account ? account->passwordHash : std::string(), password.substr( 0, cLongestPassword ) );
    if ( !good )
    {
        // Who guesses while nothing can be noted is told nothing.
        return noteFailure_( call, email ).map( [] { return notAuthorized( "Incorrect username or password." ); } );
    }
    if ( account->blocked )
        return disabled();
    if ( account->confirmed )
        return signIn_( call, *account );
    remind_( call, *account );
    return authFailure( "UserNotConfirmedException", "User is not confirmed." );
}

DatabaseResult<HttpResponse> EmbeddedIdentity::signIn_( const AuthCall& call, const Account& account )
{
    Database::Transaction transaction( database_ );
    // The password may have been changed, or the account removed or blocked, while it was checked.
    const auto now = accounts_.find( account.email );
    if ( !now )
        return tl::unexpected( now.error() );
    if ( !*now || ( *now )->passwordHash != account.passwordHash )
        return notAuthorized( "Incorrect username or password." );
    if ( ( *now )->blocked )
        return disabled();
    const auto refresh = accounts_.forgetFailures( account.email, call.remoteAddress )
                             .and_then( [&] { return accounts_.newRefreshToken( account.id, options_.refreshLife ); } );
    if ( !refresh )
        return tl::unexpected( refresh.error() );
    return transaction.commit().map( [&] { return authSuccess( tokensOf_( account, *refresh ) ); } );
}

DatabaseResult<HttpResponse> EmbeddedIdentity::signInByToken_( const AuthCall& call )
{
    const auto token = textMember( call.body["AuthParameters"], "REFRESH_TOKEN" );
    if ( token.empty() )
        return invalidParameter( "Missing required parameter REFRESH_TOKEN" );
    Account account;
    const auto check = accounts_.checkRefreshToken( token, account );
    if ( !check )
        return tl::unexpected( check.error() );
    switch ( *check )
    {
    case RefreshCheck::Good:
        return authSuccess( tokensOf_( account, {} ) );
    case RefreshCheck::Expired:
        return notAuthorized( "Refresh Token has expired" );
    case RefreshCheck::Invalid:
        break;
    }
    return notAuthorized( "Invalid Refresh Token." );
}

DatabaseResult<void> EmbeddedIdentity::noteFailure_( const AuthCall& call, const std::string& email )
{
    limits_.countTry( call.remoteAddress );
    Database::Transaction transaction( database_ );
    return accounts_.noteFailure( email, call.remoteAddress )
        .and_then( [&] { return limits_.countFailure(); } )
        .and_then( [&] { return transaction.commit(); } );
}

DatabaseResult<HttpResponse> EmbeddedIdentity::revokeToken_( const AuthCall& call )
{
    const auto token = textMember( call.body, "Token" );
    if ( token.empty() )
        return invalidParameter( "Missing required parameter Token" );
    if ( tokens_.ownerOf( token ) )
        return authFailure( "UnsupportedTokenTypeException", "Only refresh tokens can be revoked." );
    // One that was none of ours, or was ended before, is told the same: there is no such sign-in afterwards.
    return accounts_.endSignIn( token ).map( [] { return authSuccess( Json::Value( Json::objectValue ) ); } );
}

DatabaseResult<HttpResponse> EmbeddedIdentity::getUser_( const AuthCall& call )
{
    const auto owner = tokens_.ownerOf( textMember( call.body, "AccessToken" ) );
    if ( !owner )
        return notAuthorized( "Invalid Access Token" );
    const auto account = accounts_.findById( owner->account );
    if ( !account )
        return tl::unexpected( account.error() );
    if ( !isOf( *owner, *account ) )
        return notAuthorized( "Invalid Access Token" );
    Json::Value email;
    email["Name"] = "email";
    email["Value"] = ( *account )->email;
    Json::Value out;
    out["Username"] = ( *account )->id;
    out["UserAttributes"].append( email );
    return authSuccess( out );
}

} // namespace VX::Backend
