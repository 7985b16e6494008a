#pragma once

#include <VXOrvanta/Export.h>
#include <VXOrvanta/account/AuthState.h>
#include <VXOrvanta/account/SignInSource.h>
#include <VXViewer/loop/LifeToken.h>
#include <VXViewer/loop/Signal.h>

#include <json/value.h>

#include <functional>
#include <string>
#include <vector>

namespace VX
{

struct AuthError;
struct SignInResult;

/// What a sign-in works on: what was typed, how far it has come, and what is said about it. It belongs to who shows it.
struct SignInFields
{
    std::string& email;
    std::string& password;
    std::string& confirmationCode;
    std::string& newPassword;
    /// Where the service has mailed a code to.
    std::string& codeDestination;
    /// What is wrong, and the reason for it that has a line of its own.
    std::string& message;
    std::string& reason;
    /// What has gone well; shown where there is no message.
    std::string& status;
    /// Of a silent sign-in.
    int& retriesLeft;
    AuthState& state;
    bool& rememberMe;
    bool& requestInProgress;
};

/// The rules of a sign-in: which request follows from which button in which state, what its answer leads to, what is
/// tried again, and what is kept in the token file and in `UserInfo`.
///
/// It draws nothing and knows no window. UI thread; answers that come after its end are dropped.
class VXORVANTA_API SignIn
{
public:
    explicit SignIn( const SignInFields& fields );
    SignIn( const SignIn& ) = delete;
    SignIn& operator=( const SignIn& ) = delete;

    /// Something else is to be shown: after each answer, and when another form takes the place of one.
    Signal<void()> changedSignal;
    /// Another form is shown.
    Signal<void()> formSignal;
    /// Somebody has signed in; `UserInfo` is told next.
    Signal<void()> signedInSignal;
    /// Somebody signs out, who is still in `UserInfo`; the token file has forgotten the sign-in.
    Signal<void()> signOutSignal;

    /// Signs in without a form where there is something to sign in with; takes it out of the command line.
    void start( std::vector<std::string>& arguments );
    /// Whether `start` is still to come and would do so.
    [[nodiscard]] bool isSilentStartPending( const std::vector<std::string>& arguments ) const;

    /// The main buttons of the forms: each checks what was typed, then asks the service or says what is wrong.
    void pressRetry();
    void pressSignIn();
    void pressSignUp();
    void pressForgot();
    void pressConfirmSignUp();
    void pressConfirmForgot();
    /// Has the code of a sign-up mailed once more.
    void resendCode();

    /// Shows another form, without the message of the one before.
    void show( AuthState state );
    /// Forgets the stored sign-in, but for the e-mail address where it is to be remembered, and the user.
    void signOut();

    [[nodiscard]] bool validateEmail() const;
    /// The rules that the password of the current form breaks, as bits; 0 for a good one.
    [[nodiscard]] int validatePassword() const;

private:
    using Callback = std::function<void( const Json::Value& )>;

    /// What every main button of a form that is filled in does first.
    void beginPress_();

    void requestSignIn_( const SignInSource& source );
    void requestSignUp_();
    void requestForgot_();
    void requestConfirmSignUp_();
    void requestConfirmForgot_();
    void beginRequest_();
    /// What is done with the answer to any request but a sign-in; clears the way for the next one.
    [[nodiscard]] Callback answered_( Callback onSuccess );
    /// The same callback, dropped when this object has gone.
    [[nodiscard]] Callback whileAlive_( Callback callback );
    void onSignInAnswer_( const SignInSource& source, const Json::Value& response );
    void onSignedIn_( const SignInResult& result );
    void onSignInError_( const SignInSource& source, const AuthError& error );

    void saveEmail_();
    /// Sets the message of the form, and the reason for it; a status goes.
    void say_( const std::string& message, const std::string& reason = {} );

    SignInFields on_;
    bool started_ = false;
    LifeToken life_; ///< for callbacks
};

} // namespace VX
