#include "identity/EmbeddedIdentity.h"

#include "identity/CodeMail.h"
#include "identity/Passwords.h"

#include <VXMesh/io/Json.h>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <algorithm>

namespace VX::Backend
{
namespace
{

constexpr size_t cLongestPassword = 1024;

HttpResponse notAuthorized( const std::string& message )
{
    return authFailure( "NotAuthorizedException", message );
}

HttpResponse invalidParameter( const std::string& message )
{
    return authFailure( "InvalidParameterException", message );
}

HttpResponse missingCode()
{
    return invalidParameter( "Missing required parameter ConfirmationCode" );
}

HttpResponse disabled()
{
    return notAuthorized( "User is disabled." );
}

HttpResponse unknownUser()
{
    return authFailure( "UserNotFoundException", "User does not exist." );
}

HttpResponse limitExceeded()
{
    return authFailure( "LimitExceededException", "Attempt limit exceeded, please try after some time." );
}

/// The answer where a limit is spent, or where it cannot be looked at; none otherwise.
std::optional<DatabaseResult<HttpResponse>> refusalWhere( const DatabaseResult<bool>& spent )
{
    if ( !spent )
        return DatabaseResult<HttpResponse>( tl::unexpected( spent.error() ) );
    return *spent ? std::optional( DatabaseResult<HttpResponse>( limitExceeded() ) ) : std::nullopt;
}

tl::unexpected<DatabaseError> noMemory()
{
    return tl::unexpected(
        DatabaseError{ DatabaseTrouble::Unavailable, "There is not enough memory to hash a password" } );
}

HttpResponse badPassword( const std::string& problem )
{
    return authFailure( "InvalidPasswordException", "Password did not conform with policy: " + problem );
}

HttpResponse answerTo( CodeCheck check )
{
    switch ( check )
    {
    case CodeCheck::TooManyTries:
        return limitExceeded();
    case CodeCheck::Expired:
        return authFailure( "ExpiredCodeException", "Invalid code provided, please request a code again." );
    case CodeCheck::Good:
        return authSuccess( Json::Value( Json::objectValue ) );
    case CodeCheck::Wrong:
        break;
    }
    return authFailure( "CodeMismatchException", "Invalid verification code provided, please try again." );
}

/// Whether a token is still one of its account, whose password may have been changed since.
bool isOf( const TokenOwner& owner, const std::optional<Account>& account )
{
    return account && owner.generation == account->generation;
}

HttpResponse notDelivered( const std::string& reason )
{
    spdlog::error( "{}", reason );
    return authFailure( "CodeDeliveryFailureException", "The code could not be sent; please try again later" );
}

/// "a***@e***" of "ann@example.org".
std::string masked( const std::string& email )
{
    const auto at = email.find( '@' );
    return email.substr( 0, 1 ) + "***@" + email.substr( at + 1, 1 ) + "***";
}

Json::Value deliveryTo( const std::string& email )
{
    Json::Value out;
    out["CodeDeliveryDetails"]["AttributeName"] = "email";
    out["CodeDeliveryDetails"]["DeliveryMedium"] = "EMAIL";
    out["CodeDeliveryDetails"]["Destination"] = masked( email );
    return out;
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

void EmbeddedIdentity::checkAccess( const std::string& accessToken, AccessTold told )
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

DatabaseResult<HttpResponse> EmbeddedIdentity::afterGuess_(
    Database::Transaction& transaction, const AuthCall& call, const HttpResponse& answer )
{
    return limits_.countGuess( call.remoteAddress )
        .and_then( [&] { return transaction.commit(); } )
        .map( [&] { return answer; } );
}

DatabaseResult<int64_t> EmbeddedIdentity::writeCode_( const Account& account, CodePurpose purpose )
{
    const auto life = purpose == CodePurpose::Reset ? options_.resetCodeLife : options_.signUpCodeLife;
    return accounts_.newCode( account.id, purpose, life )
        .and_then(
            [&]( const std::string& code ) { return mails_.add( codeMail( account.email, code, purpose ), life ); } );
}

DatabaseResult<HttpResponse> EmbeddedIdentity::mailCode_(
    const AuthCall& call, const Account& account, CodePurpose purpose )
{
    DatabaseResult<int64_t> mail;
    {
        Database::Transaction transaction( database_ );
        mail = writeCode_( account, purpose );
        const auto kept =
            limits_.countMail( call.remoteAddress, account.email ).and_then( [&] { return transaction.commit(); } );
        if ( !kept )
            return tl::unexpected( kept.error() );
    }
    const auto sent = mails_.deliver( *mail );
    return sent ? authSuccess( deliveryTo( account.email ) ) : notDelivered( sent.error() );
}

void EmbeddedIdentity::remind_( const AuthCall& call, const Account& account )
{
    if ( const auto mailed = remindWithinLimits_( call, account ); !mailed )
        spdlog::error( "A reminder cannot be mailed: {}", mailed.error().text );
}

DatabaseResult<HttpResponse> EmbeddedIdentity::remindWithinLimits_( const AuthCall& call, const Account& account )
{
    for ( const auto& spent :
        { limits_.mailsSpent( call.remoteAddress, account.email ), limits_.remindersSpent( account.email ) } )
        if ( auto refusal = refusalWhere( spent ) )
            return std::move( *refusal );
    return limits_.countReminder( account.email )
        .and_then( [&] { return mailCode_( call, account, CodePurpose::SignUp ); } );
}

DatabaseResult<HttpResponse> EmbeddedIdentity::signUp_( const AuthCall& call )
{
    const auto email = Accounts::normalized( textMember( call.body, "Username" ) );
    const auto password = textMember( call.body, "Password" );
    if ( email.empty() )
        return invalidParameter( "Username should be an email." );
    if ( const auto problem = passwordProblem( password ); !problem.empty() )
        return badPassword( problem );
    for ( const auto& spent :
        { limits_.guessesSpent( call.remoteAddress ), limits_.mailsSpent( call.remoteAddress, email ) } )
        if ( auto refusal = refusalWhere( spent ) )
            return std::move( *refusal );
    const auto hash = hashPassword( password );
    if ( hash.empty() )
        return noMemory();
    DatabaseResult<std::optional<Account>> account;
    DatabaseResult<int64_t> mail;
    {
        Database::Transaction transaction( database_ );
        account = accounts_.add( email, hash, false );
        if ( !account )
            return tl::unexpected( account.error() );
        if ( !*account )
            return afterGuess_( transaction, call,
                authFailure( "UsernameExistsException", "An account with the given email already exists." ) );
        mail = writeCode_( **account, CodePurpose::SignUp );
        const auto kept =
            limits_.countMail( call.remoteAddress, email ).and_then( [&] { return transaction.commit(); } );
        if ( !kept )
            return tl::unexpected( kept.error() );
    }
    if ( const auto sent = mails_.deliver( *mail ); !sent )
        return undoSignUp_( **account, *mail ).map( [&] { return notDelivered( sent.error() ); } );
    auto out = deliveryTo( email );
    out["UserConfirmed"] = false;
    out["UserSub"] = ( *account )->id;
    return authSuccess( out );
}

DatabaseResult<void> EmbeddedIdentity::undoSignUp_( const Account& account, int64_t mail )
{
    Database::Transaction transaction( database_ );
    return accounts_.remove( account.id )
        .and_then( [&] { return mails_.discard( mail ); } )
        .and_then( [&] { return transaction.commit(); } );
}

DatabaseResult<HttpResponse> EmbeddedIdentity::confirmSignUp_( const AuthCall& call )
{
    const auto code = textMember( call.body, "ConfirmationCode" );
    if ( code.empty() )
        return missingCode();
    if ( auto refusal = refusalWhere( limits_.guessesSpent( call.remoteAddress ) ) )
        return std::move( *refusal );
    Database::Transaction transaction( database_ );
    const auto account = accounts_.find( Accounts::normalized( textMember( call.body, "Username" ) ) );
    if ( !account )
        return tl::unexpected( account.error() );
    // Whether there is such an account, or one that needs no code any more, is no stranger's business.
    if ( !*account || ( *account )->confirmed )
        return afterGuess_( transaction, call, answerTo( CodeCheck::Expired ) );
    const auto& id = ( *account )->id;
    const auto check = accounts_.takeCode( id, { CodePurpose::SignUp }, code );
    if ( !check )
        return tl::unexpected( check.error() );
    if ( *check != CodeCheck::Good )
        return afterGuess_( transaction, call, answerTo( *check ) );
    return accounts_.confirm( id )
        .and_then( [&] { return transaction.commit(); } )
        .map( [&] { return answerTo( *check ); } );
}

DatabaseResult<HttpResponse> EmbeddedIdentity::resendCode_( const AuthCall& call )
{
    return mailToKnown_( call, CodePurpose::SignUp );
}

DatabaseResult<HttpResponse> EmbeddedIdentity::forgotPassword_( const AuthCall& call )
{
    return mailToKnown_( call, CodePurpose::Reset );
}

DatabaseResult<HttpResponse> EmbeddedIdentity::mailToKnown_( const AuthCall& call, CodePurpose purpose )
{
    if ( auto refusal = refusalWhere( limits_.guessesSpent( call.remoteAddress ) ) )
        return std::move( *refusal );
    const auto email = Accounts::normalized( textMember( call.body, "Username" ) );
    const auto account = accounts_.find( email );
    if ( !account )
        return tl::unexpected( account.error() );
    const bool needsNone = *account && purpose == CodePurpose::SignUp && ( *account )->confirmed;
    // A mail that is not sent uses up nobody's mails.
    if ( !*account || needsNone )
    {
        Database::Transaction transaction( database_ );
        return afterGuess_(
            transaction, call, needsNone ? invalidParameter( "User is already confirmed." ) : unknownUser() );
    }
    if ( auto refusal = refusalWhere( limits_.mailsSpent( call.remoteAddress, email ) ) )
        return std::move( *refusal );
    return mailCode_( call, **account, purpose );
}

DatabaseResult<HttpResponse> EmbeddedIdentity::confirmForgotPassword_( const AuthCall& call )
{
    const auto password = textMember( call.body, "Password" ), code = textMember( call.body, "ConfirmationCode" );
    if ( code.empty() )
        return missingCode();
    if ( const auto problem = passwordProblem( password ); !problem.empty() )
        return badPassword( problem );
    if ( auto refusal = refusalWhere( limits_.guessesSpent( call.remoteAddress ) ) )
        return std::move( *refusal );
    if ( limits_.triesSpent( call.remoteAddress ) )
        return limitExceeded();
    const auto hash = hashPassword( password );
    if ( hash.empty() )
        return noMemory();
    Database::Transaction transaction( database_ );
    const auto afterTry = [&]( const HttpResponse& answer )
    {
        limits_.countTry( call.remoteAddress );
        return afterGuess_( transaction, call, answer );
    };
    const auto account = accounts_.find( Accounts::normalized( textMember( call.body, "Username" ) ) );
    if ( !account )
        return tl::unexpected( account.error() );
    if ( !*account )
        return afterTry( unknownUser() );
    const auto& id = ( *account )->id;
    // The mail of a sign-up leads here whoever closed the program before they confirmed.
    const auto check = accounts_.takeCode( id, { CodePurpose::Reset, CodePurpose::SignUp }, code );
    if ( !check )
        return tl::unexpected( check.error() );
    if ( *check != CodeCheck::Good )
        return afterTry( answerTo( *check ) );
    // Whoever has read the mail has shown that the address is theirs.
    return accounts_.setPassword( id, hash )
        .and_then( [&] { return accounts_.confirm( id ); } )
        .and_then( [&] { return transaction.commit(); } )
        .map( [&] { return answerTo( *check ); } );
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
