#include <VXOrvanta/account/AuthWindow.h>
#include <VXOrvanta/account/CredentialRules.h>
#include <VXOrvanta/account/SignIn.h>
#include <VXOrvanta/account/form/AuthForm.h>

#include <VXViewer/core/CurrentView.h>
#include <VXViewer/loop/Wake.h>
#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/ui/StyleScope.h>
#include <VXViewer/ui/Widgets.h>
#include <VXViewer/window/Window.h>
#include <VXViewer/work/ProgressBar.h>

#include <imgui.h>
#include <imgui_internal.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

namespace VX
{
namespace
{

constexpr const char* cWindow = "Auth window";
constexpr float cWidth = 440, cHeight = 332;
const ImVec2 cPadding{ 28, 20 }, cSpacing{ 8, 16 };
constexpr float cSpinnerRadius = 20;
constexpr auto cBusyFrame = std::chrono::milliseconds( 25 );
#ifndef IMGUI_HAS_DOCK
constexpr ImGuiWindowFlags ImGuiWindowFlags_NoDocking = 0;
#endif
constexpr ImGuiWindowFlags cFlags = ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove |
                                    ImGuiWindowFlags_NoScrollbar | ImGuiWindowFlags_NoCollapse |
                                    ImGuiWindowFlags_NoDocking;

/// Whether the menu of one of the fields is open.
bool ownMenuOpen()
{
    const auto& popups = ImGui::GetCurrentContext()->OpenPopupStack;
    return !popups.empty() && popups.back().SourceWindow &&
           std::string_view( popups.back().SourceWindow->Name ) == cWindow;
}

/// Opaque black over the scene and everything else.
void drawBackground( ImVec2 viewport, bool toFront )
{
    ImGui::SetNextWindowPos( { 0, 0 } );
    ImGui::SetNextWindowSize( viewport );
    const StyleScope style( { { ImGuiCol_WindowBg, IM_COL32( 0, 0, 0, 255 ) }, { ImGuiStyleVar_WindowRounding, 0 },
        { ImGuiStyleVar_WindowBorderSize, 0 } } );
    ImGui::Begin( "Background", nullptr, cFlags );
    if ( toFront )
        ImGui::BringWindowToDisplayFront( ImGui::GetCurrentWindow() );
    ImGui::End();
}

} // namespace

void AuthWindow::drawIfNeeded( float menuScaling )
{
    if ( !ProgressBar::isOrdered() )
        drawNativeIfNeeded_( menuScaling );
}

void AuthWindow::drawNativeIfNeeded_( float menuScaling )
{
    if ( state_ == AuthState::Loading || state_ == AuthState::Authed || isSilentStartPending_() )
        return;
    auto* menu = currentMenu();
    if ( !firstFrameDone_ )
    {
        if ( menu )
            menu->allowInput( false );
        firstFrameDone_ = true;
    }
    const auto* window = viewWindow();
    const ImVec2 viewport{ float( window->width() ), float( window->height() ) };
    // A question that something else asks stands before the sign-in until it is answered; so does its own menu.
    const bool toFront = !ImGui::GetTopMostPopupModal() && !ownMenuOpen();
    drawBackground( viewport, toFront );

    // The whole of it shrinks in a window that is too small for it.
    const float fit =
        std::min( { 1.f, viewport.x / ( cWidth * menuScaling ), viewport.y / ( cHeight * menuScaling ) } );
    const float scaling = menuScaling * fit;
    const Vector2f size{ cWidth * scaling, cHeight * scaling };
    ImGui::SetNextWindowSize( { size.x, size.y } );
    ImGui::SetNextWindowPos(
        { std::round( ( viewport.x - size.x ) * 0.5f ), std::round( ( viewport.y - size.y ) * 0.5f ) } );
    if ( toFront )
        ImGui::SetNextWindowFocus();
    const StyleScope style( { { ImGuiStyleVar_WindowPadding, { cPadding.x * scaling, cPadding.y * scaling } },
        { ImGuiStyleVar_ItemSpacing, { cSpacing.x * scaling, cSpacing.y * scaling } },
        { ImGuiStyleVar_WindowMinSize, { 1, 1 } } } );
    if ( ImGui::Begin( cWindow, nullptr, cFlags ) )
    {
        ImGui::SetWindowFontScale( fit );
        if ( requestInProgress_ )
            drawSpinner_( size, scaling );
        else
            drawForm_( size, scaling );
    }
    ImGui::End();
}

void AuthWindow::drawSpinner_( const Vector2f& windowSize, float scaling )
{
    // The frames of a wait need not be many.
    std::this_thread::sleep_for( cBusyFrame );
    redraw( 1 );
    const ImVec2 at = ImGui::GetWindowPos();
    UI::spinner( { at.x + windowSize.x * 0.5f, at.y + windowSize.y * 0.5f }, cSpinnerRadius * scaling );
    focusField_ = true;
}

void AuthWindow::drawForm_( const Vector2f& windowSize, float scaling )
{
    form_->begin( windowSize, { cPadding.x * scaling, cPadding.y * scaling }, scaling, !ImGui::GetTopMostPopupModal() );
    const bool focused = focusField_;
    switch ( state_ )
    {
    case AuthState::Retry:
        drawRetryForm_( windowSize, scaling );
        break;
    case AuthState::SignIn:
        drawSignInForm_( windowSize, scaling );
        break;
    case AuthState::SignUp:
        drawSignUpForm_( windowSize, scaling );
        break;
    case AuthState::ConfirmSignUp:
        drawConfirmSignUpForm_( windowSize, scaling );
        break;
    case AuthState::Forgot:
        drawForgotForm_( windowSize, scaling );
        break;
    case AuthState::ConfirmForgot:
        drawConfirmForgotForm_( windowSize, scaling );
        break;
    case AuthState::Loading:
    case AuthState::Authed:
        break;
    }
    // What was pressed in this frame may have asked for the keyboard anew.
    if ( focused && !ImGui::IsWindowAppearing() && ImGui::IsAnyItemActive() )
        focusField_ = false;
    form_->end();
}

void AuthWindow::drawRetryForm_( const Vector2f&, float )
{
    form_->title( message_ );
    form_->detail( reason_ );
    if ( form_->mainButton( "Retry" ) )
        signIn_->pressRetry();
    if ( form_->link( {}, "Sign Out", "and try with another account." ) )
        signOut();
}

void AuthWindow::drawSignInForm_( const Vector2f&, float )
{
    form_->title( "Sign in" );
    form_->field( "Email", email_, false, focusField_ && !validateEmail_() );
    form_->field( "Password", password_, true, focusField_ && validateEmail_() );
    form_->checkbox( "Remember me", rememberMe_ );
    const bool forgot = form_->link( "Forgot your", "password?", {}, true );
    if ( form_->mainButton( "Sign In" ) )
        press_( &SignIn::pressSignIn );
    form_->message( message_, reason_, status_ );
    if ( form_->link( "Need an account?", "Sign Up" ) )
        signIn_->show( AuthState::SignUp );
    if ( forgot )
        signIn_->show( AuthState::Forgot );
}

void AuthWindow::drawSignUpForm_( const Vector2f&, float )
{
    form_->title( "Sign Up" );
    form_->field( "Email", email_, false, focusField_ && !validateEmail_() );
    form_->field( "Password", password_, true, focusField_ && validateEmail_() );
    drawPasswordValidationResult_();
    if ( form_->mainButton( "Sign Up" ) )
        press_( &SignIn::pressSignUp );
    form_->message( message_, reason_, status_ );
    if ( form_->link( "Already have an account?", "Sign In" ) )
        signIn_->show( AuthState::SignIn );
}

void AuthWindow::drawForgotForm_( const Vector2f&, float )
{
    form_->title( "Reset Password" );
    form_->field( "Email", email_, false, focusField_ );
    if ( form_->mainButton( "Reset My Password" ) )
        press_( &SignIn::pressForgot );
    form_->message( message_, reason_, status_ );
    if ( form_->link( "Back to", "Sign In" ) )
        signIn_->show( AuthState::SignIn );
}

void AuthWindow::drawConfirmSignUpForm_( const Vector2f&, float )
{
    form_->title( "Confirm Sign Up" );
    form_->paragraph(
        "We have sent a code by email to " + codeDestination_ + ".\nEnter it below to confirm your account." );
    form_->field( "Code", confirmationCode_, true, focusField_ );
    if ( form_->mainButton( "Confirm Account" ) )
        press_( &SignIn::pressConfirmSignUp );
    form_->message( message_, reason_, status_ );
    if ( form_->link( "Didn't receive a code?", "Resend it" ) )
        signIn_->resendCode();
    if ( form_->link( "Back to", "Sign Up" ) )
        signIn_->show( AuthState::SignUp );
}

void AuthWindow::drawConfirmForgotForm_( const Vector2f&, float )
{
    form_->title( "Confirm Reset Password" );
    form_->paragraph( "We have sent a password reset code by email to " + codeDestination_ +
                      ".\nEnter it below to reset your password." );
    const bool codeStands = !confirmationCode_.empty() && validatePassword_() != 0;
    form_->field( "Code", confirmationCode_, true, focusField_ && !codeStands );
    form_->field( "New Password", newPassword_, true, focusField_ && codeStands );
    drawPasswordValidationResult_();
    if ( form_->mainButton( "Change Password" ) )
        press_( &SignIn::pressConfirmForgot );
    form_->message( message_, reason_, status_ );
    if ( form_->link( "Back to", "Sign In" ) )
        signIn_->show( AuthState::SignIn );
}

void AuthWindow::drawPasswordValidationResult_()
{
    struct Rule
    {
        int bit;
        const char* text;
    };
    constexpr Rule cRules[] = { { PasswordLowercase, "Lowercase letter" }, { PasswordSpecial, "Special character" },
        { PasswordNumber, "Number" }, { PasswordLength, "At least 8 chars" } };
    const int broken = validatePassword_();
    std::vector<std::pair<const char*, bool>> rules;
    for ( const auto& rule : cRules )
        rules.emplace_back( rule.text, !( broken & rule.bit ) );
    form_->rules( rules );
}

} // namespace VX
