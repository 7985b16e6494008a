#include <VXViewer/menu/LinkOpener.h>

#include <VXViewer/loop/CommandLoop.h>
#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/system/OpenLink.h>

#include <imgui.h>

namespace VX
{
namespace
{

void tell( const std::string& url )
{
    auto* menu = currentMenu();
    if ( !menu )
        return;
    menu->pushNotification( { .header = "The page cannot be opened",
        .text = "No browser could be started. The address is\n" + url,
        .buttonName = "Copy address",
        .onButtonClick = [url] { ImGui::SetClipboardText( url.c_str() ); },
        .type = NotificationType::Error,
        .lifeTimeSec = 30 } );
}

} // namespace

void openLinkOrTell( const std::string& url )
{
    if ( !OpenLink( url, [url] { CommandLoop::appendCommand( [url] { tell( url ); } ); } ) )
        tell( url );
}

} // namespace VX
