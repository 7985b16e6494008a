#pragma once

#include "support/service/AccountFixture.h"

#include <VXOrvanta/account/SignIn.h>

#include <memory>

namespace VX::Testing
{

/// The values that a window would show.
struct SignInValues
{
    std::string email, password, confirmationCode, newPassword, codeDestination, message, reason, status;
    int retriesLeft = 0;
    AuthState state = AuthState::SignIn;
    bool rememberMe = true;
    bool requestInProgress = false;

    [[nodiscard]] SignInFields fields()
    {
        return { email, password, confirmationCode, newPassword, codeDestination, message, reason, status, retriesLeft,
            state, rememberMe, requestInProgress };
    }
};

/// A sign-in without a window.
class SignInRules : public AccountFixture
{
protected:
    SignInRules()
    {
        signIn_->changedSignal.connect( [this] { ++changes_; } );
        signIn_->formSignal.connect( [this] { ++forms_; } );
    }
    ~SignInRules() override { onOther_ = {}; }
    void start( const std::vector<std::string>& arguments = {} )
    {
        arguments_ = arguments;
        signIn_->start( arguments_ );
    }
    void press( void ( SignIn::*button )() ) { ( *signIn_.*button )(); }
    /// All fields of all forms, filled in well.
    void fillIn()
    {
        values_.email = "ann@example.org";
        values_.password = "long-enough-1";
        values_.newPassword = "long-enough-2";
        values_.confirmationCode = "123456";
    }
    /// Somebody who has signed in by the form and is remembered.
    void signInByForm()
    {
        fillIn();
        press( &SignIn::pressSignIn );
        answer( 200, R"({"AuthenticationResult":{"AccessToken":"access","RefreshToken":"fresh"}})" );
        ASSERT_EQ( values_.state, AuthState::Authed );
    }
    void refuse( const std::string& text ) { answer( 400, R"({"message":")" + text + "\"}" ); }

    SignInValues values_;
    std::unique_ptr<SignIn> signIn_ = std::make_unique<SignIn>( values_.fields() );
    std::vector<std::string> arguments_;
    int changes_ = 0, forms_ = 0;
};

} // namespace VX::Testing
