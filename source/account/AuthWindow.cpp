#include <VXOrvanta/account/AuthWindow.h>

#include <VXMesh/io/Text.h>
#include <VXOrvanta/account/AccountLock.h>
#include <VXOrvanta/account/AuthForm.h>
#include <VXOrvanta/account/Cognito.h>
#include <VXOrvanta/account/CredentialRules.h>
#include <VXOrvanta/account/Credentials.h>
#include <VXOrvanta/account/UserInfo.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/web/WebRequest.h>

#include <spdlog/spdlog.h>

namespace VX
{
namespace
{

constexpr int cSilentRetries = 3;
constexpr const char* cBadInternet = "Bad internet connection.";
constexpr const char* cUnknownError = "Unknown error.";
constexpr const char* cExpired = "Refresh Token has expired";

/// The text at a path of members; empty when one is missing or of another type.
std::string textIn( const Json::Value& root, std::initializer_list<const char*> path )
{
    const auto* value = &root;
    for ( const char* key : path )
    {
        if ( !value->isObject() )
            return {};
        value = &( *value )[key];
    }
    return value->isString() ? value->asString() : std::string();
}

/// Which address has not answered, and why; the transport knows.
std::string reasonOf( const std::string& error, const Json::Value& response )
{
    return error == cBadInternet ? textIn( response, { "error" } ) : std::string();
}

bool isUsable( const AuthToken& token )
{
    return !token.token.empty() && !token.endpoint.empty();
}

void redrawAnswered()
{
    getViewerInstance().incrementForceRedrawFrames( 4, true );
}

} // namespace

AuthWindow::AuthWindow()
    : form_( std::make_unique<AuthForm>() )
{
    CommandLoop::appendCommand(
        [this, life = life_.watch()]
        {
            if ( !life.expired() )
                start_();
        } );
}

AuthWindow::~AuthWindow() = default;

void AuthWindow::start_()
{
    started_ = true;
    const auto file = takeCredentialsArgument( getViewerInstance().arguments() );
    if ( file && signInWithFile_( *file ) )
        return;
    const auto token = loadAuthToken();
    email_ = token.login;
    if ( !isUsable( token ) )
        return redrawAnswered();
    retriesLeft_ = cSilentRetries;
    state_ = AuthState::Loading;
    requestSignIn_( token );
}

bool AuthWindow::isSilentStartPending_() const
{
    if ( started_ )
        return false;
    auto arguments = getViewerInstance().arguments();
    return takeCredentialsArgument( arguments ) || isUsable( loadAuthToken() );
}

bool AuthWindow::signInWithFile_( const std::string& file )
{
    auto credentials = readCredentials( file );
    if ( !credentials )
    {
        spdlog::warn( "{}", credentials.error() );
        return false;
    }
    email_ = std::move( credentials->email );
    password_ = std::move( credentials->password );
    state_ = AuthState::Loading;
    requestSignIn_( {} );
    return true;
}

std::function<void( const Json::Value& )> AuthWindow::whileAlive_( std::function<void( const Json::Value& )> callback )
{
    return [life = life_.watch(), callback = std::move( callback )]( const Json::Value& response )
    {
        if ( !life.expired() )
            callback( response );
    };
}

void AuthWindow::requestSignIn_( const AuthToken& token )
{
    requestInProgress_ = true;
    say_( {} );
    auto callback = whileAlive_( [this, token]( const Json::Value& response ) { onSignInAnswer_( token, response ); } );
    if ( isUsable( token ) )
        Cognito::signInToken( token.token, token.endpoint, std::move( callback ) );
    else
        Cognito::signInEmail( email_, password_, std::move( callback ) );
}

void AuthWindow::onSignInAnswer_( const AuthToken& token, const Json::Value& response )
{
    requestInProgress_ = false;
    const auto parsed = parseResponse( response );
    if ( !parsed )
        onSignInError_( token, parsed.error(), reasonOf( parsed.error(), response ) );
    else if ( parsed->isObject() && ( *parsed )["AuthenticationResult"].isObject() )
        onSignedIn_( ( *parsed )["AuthenticationResult"] );
    else
    {
        say_( cUnknownError );
        state_ = AuthState::Retry;
        spdlog::warn( "Sign in error: \"{}\"", cUnknownError );
    }
    redrawAnswered();
}

void AuthWindow::onSignedIn_( const Json::Value& result )
{
    const auto refresh = textIn( result, { "RefreshToken" } );
    if ( !rememberMe_ )
        saveAuthToken( {} );
    else if ( !refresh.empty() )
        saveAuthToken( { email_, refresh, Cognito::getEndpoint( email_ ) } );
    spdlog::info( "Signed in." );
    const auto email = email_;
    if ( !rememberMe_ )
        email_.clear();
    // Whoever signs out and leaves the machine leaves no password in the form.
    password_.clear();
    say_( {} );
    state_ = AuthState::Authed;
    if ( const auto& menu = getViewerInstance().getMenuPlugin() )
        menu->allowInput( true );
    const AccountLock lock;
    UserInfo::setAccessToken( textIn( result, { "AccessToken" } ) );
    UserInfo::setEmail( email );
}

void AuthWindow::onSignInError_( const AuthToken& token, const std::string& error, const std::string& reason )
{
    say_( error, reason );
    const bool expired = error.find( cExpired ) != std::string::npos;
    const bool badInternet = error == cBadInternet;
    if ( state_ == AuthState::Loading && retriesLeft_-- > 0 && ( expired || badInternet ) )
    {
        spdlog::warn( "Sign in error: \"{}\", retrying ({} left)", error, retriesLeft_ );
        return requestSignIn_( token );
    }
    state_ = badInternet ? AuthState::Retry : AuthState::SignIn;
    spdlog::warn( "Sign in error: \"{}\"", error );
    if ( expired )
        say_( " Session expired. Please log in again." );
}

std::function<void( const Json::Value& )> AuthWindow::answered_( Answer onSuccess )
{
    requestInProgress_ = true;
    say_( {} );
    return whileAlive_(
        [this, onSuccess = std::move( onSuccess )]( const Json::Value& response )
        {
            requestInProgress_ = false;
            if ( const auto parsed = parseResponse( response ) )
                onSuccess( *parsed );
            else
            {
                say_( parsed.error(), reasonOf( parsed.error(), response ) );
                spdlog::warn( "Auth error: \"{}\"", parsed.error() );
            }
            redrawAnswered();
        } );
}

void AuthWindow::requestSignUp_()
{
    Cognito::signUp( email_, password_,
        answered_(
            [this]( const Json::Value& body )
            {
                codeDestination_ = textIn( body, { "CodeDeliveryDetails", "Destination" } );
                show_( AuthState::ConfirmSignUp );
            } ) );
}

void AuthWindow::requestConfirmSignUp_()
{
    Cognito::confirmSignUp( email_, confirmationCode_,
        answered_(
            [this]( const Json::Value& )
            {
                show_( AuthState::SignIn );
                status_ = "Your account is confirmed";
            } ) );
}

void AuthWindow::requestResendConfirm_()
{
    Cognito::resendConfirmationCode(
        email_, answered_( [this]( const Json::Value& ) { status_ = "A new code is on its way"; } ) );
}

void AuthWindow::requestForgot_()
{
    Cognito::forget( email_, answered_(
                                 [this]( const Json::Value& body )
                                 {
                                     codeDestination_ = textIn( body, { "CodeDeliveryDetails", "Destination" } );
                                     show_( AuthState::ConfirmForgot );
                                 } ) );
}

void AuthWindow::requestConfirmForgot_()
{
    Cognito::confirmForget( email_, newPassword_, confirmationCode_,
        answered_(
            [this]( const Json::Value& )
            {
                show_( AuthState::SignIn );
                status_ = "Your password is changed";
            } ) );
}

void AuthWindow::pressRetry_()
{
    if ( const auto token = loadAuthToken(); isUsable( token ) )
        requestSignIn_( token );
    else
        signOut();
}

void AuthWindow::beginPress_()
{
    focusField_ = true;
    // Addresses and codes are pasted from mails, with whatever stands around them.
    email_ = trimmed( email_ );
    confirmationCode_ = trimmed( confirmationCode_ );
}

void AuthWindow::say_( const std::string& message, const std::string& reason )
{
    message_ = message;
    reason_ = reason;
    status_.clear();
}

void AuthWindow::pressSignIn_()
{
    beginPress_();
    saveEmail_();
    if ( !validateEmail_() )
        say_( "Please enter valid email" );
    else if ( password_.empty() )
        say_( "Please enter your password" );
    else
        requestSignIn_( {} );
}

void AuthWindow::pressSignUp_()
{
    beginPress_();
    if ( !validateEmail_() )
        say_( "Please enter valid email" );
    else if ( validatePassword_() != 0 )
        say_( "Please enter valid password" );
    else
        requestSignUp_();
}

void AuthWindow::pressForgot_()
{
    beginPress_();
    if ( !validateEmail_() )
        say_( "Please enter valid email" );
    else
        requestForgot_();
}

void AuthWindow::pressConfirmSignUp_()
{
    beginPress_();
    saveEmail_();
    if ( confirmationCode_.empty() )
        say_( "Please enter verification code" );
    else
        requestConfirmSignUp_();
}

void AuthWindow::pressConfirmForgot_()
{
    beginPress_();
    if ( confirmationCode_.empty() )
        say_( "Please enter verification code" );
    else if ( validatePassword_() != 0 )
        say_( "Please enter valid password" );
    else
        requestConfirmForgot_();
}

void AuthWindow::saveEmail_()
{
    if ( rememberMe_ )
        saveAuthToken( { email_, {}, {} } );
}

bool AuthWindow::validateEmail_() const
{
    return isEmailAddress( email_ );
}

int AuthWindow::validatePassword_() const
{
    return brokenPasswordRules( state_ == AuthState::ConfirmForgot ? newPassword_ : password_ );
}

void AuthWindow::show_( AuthState state )
{
    state_ = state;
    say_( {} );
    // A code serves once, and one that was mailed before serves no more.
    confirmationCode_.clear();
    newPassword_.clear();
    focusField_ = true;
    redrawAnswered();
}

void AuthWindow::signOut()
{
    saveAuthToken( { rememberMe_ ? email_ : std::string(), {}, {} } );
    cleanupOnSignOut_();
}

void AuthWindow::cleanupOnSignOut_()
{
    signOutSignal();
    state_ = AuthState::SignIn;
    say_( {} );
    firstFrameDone_ = false;
    focusField_ = true;
    {
        const AccountLock lock;
        UserInfo::setAccessToken( {} );
        UserInfo::setEmail( {} );
    }
    redrawAnswered();
}

} // namespace VX
