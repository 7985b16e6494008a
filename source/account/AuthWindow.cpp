#include <VXOrvanta/account/AuthWindow.h>

#include <VXOrvanta/account/SignIn.h>
#include <VXOrvanta/account/form/AuthForm.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/menu/ImGuiMenu.h>

namespace VX
{
namespace
{

void allowMenuInput()
{
    if ( const auto& menu = getViewerInstance().getMenuPlugin() )
        menu->allowInput( true );
}

} // namespace

AuthWindow::AuthWindow()
    : form_( std::make_unique<AuthForm>() )
    , signIn_( std::make_unique<SignIn>( SignInFields{ .email = email_,
          .password = password_,
          .confirmationCode = confirmationCode_,
          .newPassword = newPassword_,
          .codeDestination = codeDestination_,
          .message = message_,
          .reason = reason_,
          .status = status_,
          .retriesLeft = retriesLeft_,
          .state = state_,
          .rememberMe = rememberMe_,
          .requestInProgress = requestInProgress_ } ) )
{
    connect_();
    CommandLoop::appendCommand(
        [this, life = life_.watch()]
        {
            if ( !life.expired() )
                signIn_->start( getViewerInstance().arguments() );
        } );
}

AuthWindow::~AuthWindow() = default;

void AuthWindow::connect_()
{
    signIn_->changedSignal.connect( [] { getViewerInstance().incrementForceRedrawFrames( 4, true ); } );
    signIn_->formSignal.connect( [this] { focusField_ = true; } );
    signIn_->signedInSignal.connect( &allowMenuInput );
    signIn_->signOutSignal.connect( [this] { cleanupOnSignOut_(); } );
}

bool AuthWindow::isSilentStartPending_() const
{
    return signIn_->isSilentStartPending( getViewerInstance().arguments() );
}

void AuthWindow::press_( void ( SignIn::*button )() )
{
    focusField_ = true;
    ( *signIn_.*button )();
}

bool AuthWindow::validateEmail_() const
{
    return signIn_->validateEmail();
}

int AuthWindow::validatePassword_() const
{
    return signIn_->validatePassword();
}

void AuthWindow::signOut()
{
    signIn_->signOut();
}

void AuthWindow::cleanupOnSignOut_()
{
    signOutSignal();
    firstFrameDone_ = false;
}

} // namespace VX
