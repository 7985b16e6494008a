#include <VXOrvanta/account/AuthWindow.h>

#include <VXOrvanta/account/AuthToken.h>
#include <VXOrvanta/account/UserInfo.h>

namespace VX
{

void AuthWindow::drawIfNeeded( float ) {}

void AuthWindow::signOut()
{
    saveAuthToken( { rememberMe_ ? email_ : std::string(), {}, {} } );
    cleanupOnSignOut_();
}

void AuthWindow::cleanupOnSignOut_()
{
    signOutSignal();
    state_ = AuthState::SignIn;
    message_.clear();
    firstFrameDone_ = false;
    UserInfo::setAccessToken( {} );
    UserInfo::setEmail( {} );
}

} // namespace VX
