#include <VXOrvanta/account/UserInfo.h>
#include <VXOrvanta/shell/OrvantaRibbonMenu.h>
#include <VXViewer/tools/FunctionItem.h>

namespace VX
{
namespace
{

void signOut()
{
    if ( const auto menu = OrvantaRibbonMenu::instance() )
        menu->signOut();
}

std::string_view needsUser( const SelectedObjects& )
{
    return UserInfo::getEmail().empty() ? "Nobody is signed in" : "";
}

const FunctionItemRegistrar sSignOut( FunctionItemParams{ "Sign out", &signOut, &needsUser, {} } );

} // namespace
} // namespace VX
