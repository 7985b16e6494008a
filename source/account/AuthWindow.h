#pragma once

#include <VXMesh/math/Vector3.h>
#include <VXOrvanta/Export.h>
#include <VXOrvanta/account/AuthToken.h>
#include <VXViewer/loop/LifeToken.h>
#include <VXViewer/loop/Signal.h>

#include <json/value.h>

#include <functional>
#include <memory>
#include <string>

namespace VX
{

class AuthForm;

/// Which screen of the sign-in is shown.
enum class AuthState
{
    Loading, ///< a silent sign-in is under way; nothing is drawn
    Retry,   ///< the network failed
    SignIn,
    SignUp,
    ConfirmSignUp,
    Forgot,
    ConfirmForgot,
    Authed ///< signed in; nothing is drawn
};

/// The sign-in of the user: a screen over the whole viewer until somebody is signed in.
///
/// When the viewer is up it signs in by itself, with the file after the argument "-creds" or with the stored token.
/// Then it shows a form for each step: sign-in, sign-up and its code, a forgotten password and its code, and a screen
/// for a network that fails. What comes of it goes to `UserInfo` and into the token file.
///
/// UI thread; the menu owns it. Answers that come after its end are dropped.
class VXORVANTA_API AuthWindow
{
public:
    /// Queues the silent sign-in.
    AuthWindow();
    ~AuthWindow();
    AuthWindow( const AuthWindow& ) = delete;
    AuthWindow& operator=( const AuthWindow& ) = delete;

    /// Emitted when the user signs out.
    Signal<void()> signOutSignal;

    /// Draws the screen of the current state over the viewer; called once a frame, within Dear ImGui's.
    void drawIfNeeded( float menuScaling );

    [[nodiscard]] bool isAuthed() const { return state_ == AuthState::Authed; }
    /// Whether a request is in flight.
    [[nodiscard]] bool isRequestInProgress() const { return requestInProgress_; }

    /// Forgets the stored sign-in, but for the e-mail address where it is to be remembered, and the user.
    void signOut();

private:
    friend struct AuthWindowTestAccess;
    using Answer = std::function<void( const Json::Value& body )>;

    void start_();
    /// Whether the start-up task is still to come and will sign in silently.
    [[nodiscard]] bool isSilentStartPending_() const;
    /// Signs in with a file of e-mail and password; false, and said why, when it is of no use.
    bool signInWithFile_( const std::string& file );

    void drawNativeIfNeeded_( float menuScaling );
    void drawSpinner_( const Vector2f& windowSize, float scaling );
    void drawForm_( const Vector2f& windowSize, float scaling );
    void drawRetryForm_( const Vector2f& windowSize, float scaling );
    void drawSignInForm_( const Vector2f& windowSize, float scaling );
    void drawSignUpForm_( const Vector2f& windowSize, float scaling );
    void drawForgotForm_( const Vector2f& windowSize, float scaling );
    void drawConfirmSignUpForm_( const Vector2f& windowSize, float scaling );
    void drawConfirmForgotForm_( const Vector2f& windowSize, float scaling );
    void drawPasswordValidationResult_();

    /// What every main button does first.
    void beginPress_();
    void pressRetry_();
    void pressSignIn_();
    void pressSignUp_();
    void pressForgot_();
    void pressConfirmSignUp_();
    void pressConfirmForgot_();

    void requestSignIn_( const AuthToken& token );
    void requestSignUp_();
    void requestForgot_();
    void requestConfirmSignUp_();
    void requestResendConfirm_();
    void requestConfirmForgot_();
    /// What is done with the answer to any request but a sign-in; clears the way for the next one.
    std::function<void( const Json::Value& response )> answered_( Answer onSuccess );
    /// The same callback, dropped when this window has gone.
    std::function<void( const Json::Value& response )> whileAlive_(
        std::function<void( const Json::Value& response )> callback );
    void onSignInAnswer_( const AuthToken& token, const Json::Value& response );
    void onSignedIn_( const Json::Value& result );
    void onSignInError_( const AuthToken& token, const std::string& error, const std::string& reason );

    void saveEmail_();
    [[nodiscard]] bool validateEmail_() const;
    /// The rules that the password of the current form breaks, as bits; 0 for a good one.
    [[nodiscard]] int validatePassword_() const;
    void cleanupOnSignOut_();
    /// Sets the message of the form, and the reason for it that has a line of its own; a status goes.
    void say_( const std::string& message, const std::string& reason = {} );
    /// Shows another screen, without the message of the one before.
    void show_( AuthState state );

    std::string email_;
    std::string password_;
    std::string confirmationCode_;
    std::string newPassword_;
    std::string codeDestination_;
    std::string message_;
    int retriesLeft_ = 0;
    AuthState state_ = AuthState::SignIn;
    bool rememberMe_ = true;
    bool firstFrameDone_ = false;
    bool requestInProgress_ = false;

    bool started_ = false;
    std::string reason_;
    /// What has gone well; shown where there is no message.
    std::string status_;
    /// Puts the keyboard into the first field that is to be filled in.
    bool focusField_ = true;
    std::unique_ptr<AuthForm> form_;
    LifeToken life_; ///< for callbacks
};

} // namespace VX
