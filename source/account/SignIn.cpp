#include <VXOrvanta/account/SignIn.h>

#include <VXMesh/io/Text.h>
#include <VXOrvanta/account/AccountLock.h>
#include <VXOrvanta/account/AuthAnswer.h>
#include <VXOrvanta/account/CredentialRules.h>
#include <VXOrvanta/account/UserInfo.h>

#include <spdlog/spdlog.h>

namespace VX
{
namespace
{

constexpr int cSilentRetries = 3;
constexpr const char* cUnknownError = "Unknown error.";
constexpr const char* cEmailWanted = "Please enter valid email";
constexpr const char* cPasswordWanted = "Please enter valid password";
constexpr const char* cCodeWanted = "Please enter verification code";

} // namespace

SignIn::SignIn( const SignInFields& fields )
    : on_( fields )
{
}

void SignIn::start( std::vector<std::string>& arguments )
{
    started_ = true;
    const auto source = takeSignInSource( arguments );
    if ( source.credentials )
    {
        on_.email = source.credentials->email;
        on_.password = source.credentials->password;
    }
    else
    {
        on_.email = source.token.login;
        if ( !source.isUsable() )
            return changedSignal();
        on_.retriesLeft = cSilentRetries;
    }
    on_.state = AuthState::Loading;
    requestSignIn_( source );
}

bool SignIn::isSilentStartPending( const std::vector<std::string>& arguments ) const
{
    return !started_ && hasSignInSource( arguments );
}

void SignIn::beginPress_()
{
    // Addresses and codes are pasted from mails, with whatever stands around them.
    on_.email = trimmed( on_.email );
    on_.confirmationCode = trimmed( on_.confirmationCode );
}

void SignIn::pressRetry()
{
    if ( const auto token = loadAuthToken(); isUsable( token ) )
        requestSignIn_( { {}, token, {} } );
    else
        signOut();
}

void SignIn::pressSignIn()
{
    beginPress_();
    saveEmail_();
    if ( !validateEmail() )
        say_( cEmailWanted );
    else if ( on_.password.empty() )
        say_( "Please enter your password" );
    else
        requestSignIn_( { Credentials{ on_.email, on_.password }, {}, {} } );
}

void SignIn::pressSignUp()
{
    beginPress_();
    if ( !validateEmail() )
        say_( cEmailWanted );
    else if ( validatePassword() != 0 )
        say_( cPasswordWanted );
    else
        requestSignUp_();
}

void SignIn::pressForgot()
{
    beginPress_();
    if ( !validateEmail() )
        say_( cEmailWanted );
    else
        requestForgot_();
}

void SignIn::pressConfirmSignUp()
{
    beginPress_();
    saveEmail_();
    if ( on_.confirmationCode.empty() )
        say_( cCodeWanted );
    else
        requestConfirmSignUp_();
}

void SignIn::pressConfirmForgot()
{
    beginPress_();
    if ( on_.confirmationCode.empty() )
        say_( cCodeWanted );
    else if ( validatePassword() != 0 )
        say_( cPasswordWanted );
    else
        requestConfirmForgot_();
}

void SignIn::beginRequest_()
{
    on_.requestInProgress = true;
    say_( {} );
}

SignIn::Callback SignIn::whileAlive_( Callback callback )
{
    return [life = life_.watch(), callback = std::move( callback )]( const Json::Value& response )
    {
        if ( !life.expired() )
            callback( response );
    };
}

void SignIn::requestSignIn_( const SignInSource& source )
{
    beginRequest_();
    source.signIn(
        whileAlive_( [this, source]( const Json::Value& response ) { onSignInAnswer_( source, response ); } ) );
}

void SignIn::onSignInAnswer_( const SignInSource& source, const Json::Value& response )
{
    on_.requestInProgress = false;
    const auto body = readAuthAnswer( response );
    if ( !body )
        onSignInError_( source, body.error() );
    else if ( const auto result = signInResultOf( *body ) )
        onSignedIn_( *result );
    else
    {
        say_( cUnknownError );
        on_.state = AuthState::Retry;
        spdlog::warn( "Sign in error: \"{}\"", cUnknownError );
    }
    changedSignal();
}

void SignIn::onSignedIn_( const SignInResult& result )
{
    if ( !on_.rememberMe )
        saveAuthToken( {} );
    else if ( !result.refreshToken.empty() )
        saveAuthToken( { on_.email, result.refreshToken, Cognito::getEndpoint( on_.email ) } );
    spdlog::info( "Signed in." );
    const auto email = on_.email;
    if ( !on_.rememberMe )
        on_.email.clear();
    // Whoever signs out and leaves the machine leaves no password in the form.
    on_.password.clear();
    say_( {} );
    on_.state = AuthState::Authed;
    signedInSignal();
    const AccountLock lock;
    UserInfo::setAccessToken( result.accessToken.value_or( "" ) );
    UserInfo::setEmail( email );
}

void SignIn::onSignInError_( const SignInSource& source, const AuthError& error )
{
    say_( error.text, error.reason );
    const bool expired = error.isExpired();
    const bool badInternet = error.isBadInternet();
    if ( on_.state == AuthState::Loading && on_.retriesLeft-- > 0 && ( expired || badInternet ) )
    {
        spdlog::warn( "Sign in error: \"{}\", retrying ({} left)", error.text, on_.retriesLeft );
        return requestSignIn_( source );
    }
    on_.state = badInternet ? AuthState::Retry : AuthState::SignIn;
    spdlog::warn( "Sign in error: \"{}\"", error.text );
    if ( expired )
        say_( " Session expired. Please log in again." );
}

SignIn::Callback SignIn::answered_( Callback onSuccess )
{
    beginRequest_();
    return whileAlive_(
        [this, onSuccess = std::move( onSuccess )]( const Json::Value& response )
        {
            on_.requestInProgress = false;
            if ( const auto body = readAuthAnswer( response ) )
                onSuccess( *body );
            else
            {
                say_( body.error().text, body.error().reason );
                spdlog::warn( "Auth error: \"{}\"", body.error().text );
            }
            changedSignal();
        } );
}

void SignIn::requestSignUp_()
{
    Cognito::signUp( on_.email, on_.password,
        answered_(
            [this]( const Json::Value& body )
            {
                on_.codeDestination = codeDestinationOf( body );
                show( AuthState::ConfirmSignUp );
            } ) );
}

void SignIn::requestConfirmSignUp_()
{
    Cognito::confirmSignUp( on_.email, on_.confirmationCode,
        answered_(
            [this]( const Json::Value& )
            {
                show( AuthState::SignIn );
                on_.status = "Your account is confirmed";
            } ) );
}

void SignIn::resendCode()
{
    Cognito::resendConfirmationCode(
        on_.email, answered_( [this]( const Json::Value& ) { on_.status = "A new code is on its way"; } ) );
}

void SignIn::requestForgot_()
{
    Cognito::forget( on_.email, answered_(
                                    [this]( const Json::Value& body )
                                    {
                                        on_.codeDestination = codeDestinationOf( body );
                                        show( AuthState::ConfirmForgot );
                                    } ) );
}

void SignIn::requestConfirmForgot_()
{
    Cognito::confirmForget( on_.email, on_.newPassword, on_.confirmationCode,
        answered_(
            [this]( const Json::Value& )
            {
                show( AuthState::SignIn );
                on_.status = "Your password is changed";
            } ) );
}

void SignIn::saveEmail_()
{
    if ( on_.rememberMe )
        saveAuthToken( { on_.email, {}, {} } );
}

bool SignIn::validateEmail() const
{
    return isEmailAddress( on_.email );
}

int SignIn::validatePassword() const
{
    return brokenPasswordRules( on_.state == AuthState::ConfirmForgot ? on_.newPassword : on_.password );
}

void SignIn::say_( const std::string& message, const std::string& reason )
{
    on_.message = message;
    on_.reason = reason;
    on_.status.clear();
}

void SignIn::show( AuthState state )
{
    on_.state = state;
    say_( {} );
    // A code serves once, and one that was mailed before serves no more.
    on_.confirmationCode.clear();
    on_.newPassword.clear();
    formSignal();
    changedSignal();
}

void SignIn::signOut()
{
    saveAuthToken( { on_.rememberMe ? on_.email : std::string(), {}, {} } );
    signOutSignal();
    on_.state = AuthState::SignIn;
    say_( {} );
    formSignal();
    {
        const AccountLock lock;
        UserInfo::setAccessToken( {} );
        UserInfo::setEmail( {} );
    }
    changedSignal();
}

} // namespace VX
