#include "identity/CodeMail.h"
#include "identity/EmbeddedIdentity.h"
#include "identity/Passwords.h"
#include "identity/Refusals.h"

#include <VXMesh/io/Json.h>

#include <spdlog/spdlog.h>

// The operations with codes that are mailed.

namespace VX::Backend
{
namespace
{

HttpResponse missingCode()
{
    return invalidParameter( "Missing required parameter ConfirmationCode" );
}

HttpResponse unknownUser()
{
    return authFailure( "UserNotFoundException", "User does not exist." );
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

DatabaseResult<HttpResponse> EmbeddedIdentity::signUp_( const AuthCall& call )
{
    const auto email = Accounts::normalized( textMember( call.body, "Username" ) );
    const auto password = textMember( call.body, "Password" );
    if ( email.empty() || !Accounts::isVisible( email ) )
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

} // namespace VX::Backend
