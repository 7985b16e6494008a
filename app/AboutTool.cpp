#include "AboutTool.h"

#include <VXMesh/system/SystemInfo.h>
#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/tools/FunctionItem.h>

namespace VX::App
{
namespace
{

void showAbout()
{
    if ( auto* menu = currentMenu() )
        menu->showModalMessage( "Orvanta " + GetVXVersionString() +
                                    "\nViewer and editor of 3D meshes, point clouds and STEP models\n\n" +
                                    GetDetailedOSName(),
            NotificationType::Info );
}

} // namespace

void registerAboutTool()
{
    RibbonSchemaHolder::addItem(
        std::make_shared<FunctionItem>( FunctionItemParams{ "About Orvanta", &showAbout, {}, {} } ) );
}

} // namespace VX::App
