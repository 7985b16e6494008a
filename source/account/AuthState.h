#pragma once

namespace VX
{

/// How far a sign-in has come, and with it which screen is shown.
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

} // namespace VX
