#include "source/account/SignInRules.h"

#include <VXOrvanta/account/CredentialRules.h>
#include <VXOrvanta/account/SignIn.h>

using namespace VX;
using Values = Testing::SignInValues;

namespace
{

constexpr const char* cAnn = "ann@example.org";
constexpr const char* cSignedIn = R"({"AuthenticationResult":{"AccessToken":"access","RefreshToken":"fresh"}})";
constexpr const char* cMailed = R"({"CodeDeliveryDetails":{"Destination":"a***@e***"}})";
constexpr const char* cBadInternet = "Bad internet connection.";

class SignInForms : public Testing::SignInRules
{
};

/// A button, in the form that it belongs to, and the request which it leads to where nothing is wrong.
struct Button
{
    void ( SignIn::*press )();
    AuthState form;
    std::string request;
};

const Button cButtons[] = { { &SignIn::pressSignIn, AuthState::SignIn, "signInEmail" },
    { &SignIn::pressSignUp, AuthState::SignUp, "signUp" }, { &SignIn::pressForgot, AuthState::Forgot, "forget" },
    { &SignIn::pressConfirmSignUp, AuthState::ConfirmSignUp, "confirmSignUp" },
    { &SignIn::pressConfirmForgot, AuthState::ConfirmForgot, "confirmForget" },
    { &SignIn::resendCode, AuthState::ConfirmSignUp, "resendConfirmationCode" } };

} // namespace

TEST_F( SignInForms, EachButtonAsksTheServiceForWhatItsFormHolds )
{
    for ( const auto& [button, form, request] : cButtons )
    {
        values_.state = form;
        fillIn();
        values_.message = "Of before";
        values_.reason = "of before";
        values_.status = "of before, too";
        press( button );
        EXPECT_EQ( lastName(), request );
        EXPECT_TRUE( values_.requestInProgress ) << request;
        EXPECT_EQ( values_.message + values_.reason + values_.status, "" ) << request;
        const auto body = lastBody();
        EXPECT_EQ( body.isMember( "Username" ) ? body["Username"] : body["AuthParameters"]["USERNAME"], cAnn )
            << request;
        const auto& password = request == "signInEmail" ? body["AuthParameters"]["PASSWORD"] : body["Password"];
        const auto wanted = request == "signInEmail" || request == "signUp" ? "long-enough-1"
                            : request == "confirmForget"                    ? "long-enough-2"
                                                                            : "";
        EXPECT_EQ( password.asString(), wanted ) << request;
        EXPECT_EQ( body["ConfirmationCode"].asString(), request.starts_with( "confirm" ) ? "123456" : "" ) << request;
        refuse( "No." );
    }
    EXPECT_EQ( sent().size(), std::size( cButtons ) );
}

TEST_F( SignInForms, EachButtonSaysWhatIsMissing )
{
    struct Row
    {
        size_t button;
        std::string Values::* field;
        std::string value, message;
    };
    const std::string email = "Please enter valid email", password = "Please enter valid password",
                      code = "Please enter verification code";
    for ( const auto& [at, field, value, message] :
        { Row{ 0, &Values::email, "ann", email }, Row{ 0, &Values::password, "", "Please enter your password" },
            Row{ 1, &Values::email, "", email }, Row{ 1, &Values::password, "weak", password },
            Row{ 2, &Values::email, "ann@", email }, Row{ 3, &Values::confirmationCode, " ", code },
            Row{ 4, &Values::confirmationCode, "", code }, Row{ 4, &Values::newPassword, "weak", password } } )
    {
        values_.state = cButtons[at].form;
        fillIn();
        values_.*field = value;
        values_.reason = values_.status = "of before";
        press( cButtons[at].press );
        EXPECT_EQ( values_.message, message ) << cButtons[at].request;
        EXPECT_EQ( values_.reason + values_.status, "" ) << cButtons[at].request;
        EXPECT_FALSE( values_.requestInProgress );
        EXPECT_EQ( values_.state, cButtons[at].form );
    }
    EXPECT_TRUE( sent().empty() );
}

TEST_F( SignInForms, RulesAreThoseOfThePasswordThatTheFormAsksFor )
{
    values_.password = "abcdefg-";
    values_.newPassword = "abcdefg1";
    EXPECT_EQ( signIn_->validatePassword(), PasswordNumber );
    values_.state = AuthState::ConfirmForgot;
    EXPECT_EQ( signIn_->validatePassword(), PasswordSpecial );
}

TEST_F( SignInForms, WhatIsPastedIsTrimmedButForPasswords )
{
    for ( const auto& [button, form, request] : cButtons )
    {
        if ( button == &SignIn::resendCode )
            continue;
        values_.state = form;
        fillIn();
        values_.email = " \tann@example.org \r\n";
        values_.confirmationCode = " 123456\n";
        values_.password = " long-enough-1 ";
        press( button );
        EXPECT_EQ( lastName(), request );
        EXPECT_EQ( values_.email, cAnn ) << request;
        EXPECT_EQ( values_.confirmationCode, "123456" ) << request;
        EXPECT_EQ( values_.password, " long-enough-1 " ) << request;
        refuse( "No." );
    }
}

TEST_F( SignInForms, AddressIsKeptForTheNextStartWhereItIsToBe )
{
    for ( const auto& [button, form, request] : cButtons )
        for ( const bool remember : { true, false } )
        {
            saveAuthToken( { "of before", "t", "e" } );
            values_.state = form;
            values_.rememberMe = remember;
            fillIn();
            press( button );
            const bool keeps = request == "signInEmail" || request == "confirmSignUp";
            EXPECT_EQ( stored(), keeps && remember ? "ann@example.org||" : "of before|t|e" ) << request << remember;
            refuse( "No." );
        }
}

TEST_F( SignInForms, AnswerLeadsToTheNextForm )
{
    struct Row
    {
        size_t button;
        std::string body;
        AuthState state;
        std::string destination, status;
        int forms;
    };
    for ( const auto& row : { Row{ 1, cMailed, AuthState::ConfirmSignUp, "a***@e***", "", 1 },
              Row{ 1, "[]", AuthState::ConfirmSignUp, "", "", 1 },
              Row{ 2, cMailed, AuthState::ConfirmForgot, "a***@e***", "", 1 },
              Row{ 3, "{}", AuthState::SignIn, "x", "Your account is confirmed", 1 },
              Row{ 4, "{}", AuthState::SignIn, "x", "Your password is changed", 1 },
              Row{ 5, "{}", AuthState::ConfirmSignUp, "x", "A new code is on its way", 0 } } )
    {
        const auto& [button, form, request] = cButtons[row.button];
        values_.state = form;
        values_.codeDestination = "x";
        fillIn();
        press( button );
        forms_ = changes_ = 0;
        answer( 200, row.body );
        EXPECT_EQ( values_.state, row.state ) << request;
        EXPECT_EQ( values_.codeDestination, row.destination ) << request;
        EXPECT_EQ( values_.status, row.status ) << request;
        EXPECT_EQ( values_.message, "" ) << request;
        EXPECT_FALSE( values_.requestInProgress ) << request;
        EXPECT_EQ( forms_, row.forms ) << request;
        EXPECT_GT( changes_, 0 ) << request;
        EXPECT_EQ( values_.confirmationCode, row.forms ? "" : "123456" ) << "a code serves once";
    }
    EXPECT_EQ( log_.text(), "" );
}

TEST_F( SignInForms, RefusalLeavesTheFormAndSaysWhy )
{
    for ( const auto& [button, form, request] : cButtons )
        for ( const int code : { 0, 400 } )
        {
            const bool signsIn = request == "signInEmail";
            const auto lines = log_.text();
            values_.state = form;
            fillIn();
            press( button );
            changes_ = forms_ = 0;
            answer( code, R"({"message":"No."})", "why" );
            const std::string said = code == 0 ? cBadInternet : "No.";
            EXPECT_EQ( values_.state, signsIn && code == 0 ? AuthState::Retry : form ) << request;
            EXPECT_EQ( values_.message, said ) << request;
            EXPECT_EQ( values_.reason, code == 0 ? "why" : "" ) << request;
            EXPECT_FALSE( values_.requestInProgress ) << request;
            EXPECT_EQ( values_.confirmationCode, "123456" ) << request;
            EXPECT_EQ( changes_, 1 ) << request;
            EXPECT_EQ( forms_, 0 ) << request;
            EXPECT_EQ( log_.text().substr( lines.size() ),
                ( signsIn ? "warning: Sign in error: \"" : "warning: Auth error: \"" ) + said + "\"\n" );
        }
}

TEST_F( SignInForms, AnotherFormIsShownWithoutWhatBelongedToTheOneBefore )
{
    fillIn();
    values_.message = values_.reason = values_.status = "of before";
    signIn_->show( AuthState::Forgot );
    EXPECT_EQ( values_.state, AuthState::Forgot );
    EXPECT_EQ( values_.message + values_.reason + values_.status, "" );
    EXPECT_EQ( values_.confirmationCode + values_.newPassword, "" );
    EXPECT_EQ( values_.email, cAnn );
    EXPECT_EQ( values_.password, "long-enough-1" );
    EXPECT_EQ( forms_, 1 );
    EXPECT_EQ( changes_, 1 );
}

TEST_F( SignInForms, AnswersAfterItsEndAreDropped )
{
    for ( const auto& [button, form, request] : cButtons )
    {
        values_.state = form;
        fillIn();
        press( button );
        signIn_.reset();
        answer( 200, cSignedIn );
        EXPECT_TRUE( values_.requestInProgress ) << request;
        EXPECT_EQ( values_.state, form ) << request;
        EXPECT_EQ( UserInfo::getAccessToken(), "" ) << request;
        signIn_ = std::make_unique<SignIn>( values_.fields() );
    }
}
