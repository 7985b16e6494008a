#pragma once

#include <VXMesh/math/Vector3.h>
#include <VXOrvanta/Export.h>
#include <VXOrvanta/account/AuthState.h>
#include <VXViewer/loop/LifeToken.h>
#include <VXViewer/loop/Signal.h>

#include <memory>
#include <string>

namespace VX
{

class AuthForm;
class SignIn;

/// The sign-in of the user: a screen over the whole viewer until somebody is signed in.
///
/// When the viewer is up it signs in by itself, with the file after the argument "-creds" or with the stored token.
/// Then it shows a form for each step: sign-in, sign-up and its code, a forgotten password and its code, and a screen
/// for a network that fails. It draws what `SignIn` says and tells it what was typed and pressed.
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

    /// Follows what `SignIn` tells.
    void connect_();
    /// Whether the queued start is still to come and will sign in without a form.
    [[nodiscard]] bool isSilentStartPending_() const;

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

    /// What the main button of a form that is filled in does; the keyboard comes back to the form.
    void press_( void ( SignIn::*button )() );
    [[nodiscard]] bool validateEmail_() const;
    /// The rules that the password of the current form breaks, as bits; 0 for a good one.
    [[nodiscard]] int validatePassword_() const;
    void cleanupOnSignOut_();

    // With `signOutSignal` before them these are the binary interface: programs that are built already find each by its
    // place. New ones go behind them.
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

    std::string reason_;
    /// What has gone well; shown where there is no message.
    std::string status_;
    /// Puts the keyboard into the first field that is to be filled in.
    bool focusField_ = true;
    std::unique_ptr<AuthForm> form_;
    std::unique_ptr<SignIn> signIn_; ///< works on the members above
    LifeToken life_;                 ///< for the queued start
};

} // namespace VX
