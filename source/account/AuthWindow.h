#pragma once

#include <VXOrvanta/Export.h>

#include <boost/signals2/signal.hpp>

#include <string>

namespace VX
{

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

/// The sign-in of the user: what was typed, and how far it has come. UI thread.
///
/// The forms and the requests behind them are not here yet; nobody is asked to sign in until they are.
class VXORVANTA_API AuthWindow
{
public:
    AuthWindow() = default;
    ~AuthWindow() = default;
    AuthWindow( const AuthWindow& ) = delete;
    AuthWindow& operator=( const AuthWindow& ) = delete;

    /// Emitted when the user signs out.
    boost::signals2::signal<void()> signOutSignal;

    [[nodiscard]] bool isAuthed() const { return state_ == AuthState::Authed; }
    /// Whether a request is in flight.
    [[nodiscard]] bool isRequestInProgress() const { return requestInProgress_; }

    /// Draws the screen of the current state over the viewer; called once a frame. No screen is there yet.
    void drawIfNeeded( float menuScaling );

    /// Forgets the stored sign-in, but for the e-mail address where it is to be remembered, and the user.
    void signOut();

private:
    friend struct AuthWindowTestAccess;

    void cleanupOnSignOut_();

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
};

} // namespace VX
