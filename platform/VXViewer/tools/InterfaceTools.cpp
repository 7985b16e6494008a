#include <VXViewer/core/Viewer.h>
#include <VXViewer/menu/RibbonMenu.h>
#include <VXViewer/menu/ViewerSettingsPlugin.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/tools/FunctionItem.h>
#include <VXViewer/ui/ColorTheme.h>

namespace VX
{
namespace
{

RibbonMenu* menu()
{
    return dynamic_cast<RibbonMenu*>( getViewerInstance().getMenuPlugin().get() );
}

void switchTheme()
{
    const auto other =
        ColorTheme::getPreset() == ColorTheme::Preset::Dark ? ColorTheme::Preset::Light : ColorTheme::Preset::Dark;
    ColorTheme::setupPreset( other );
    Config::instance().setJsonValue( cColorThemeConfigKey, ColorTheme::getPresetName( other ) );
}

void switchSceneList()
{
    if ( !menu() )
        return;
    auto config = menu()->getMenuUIConfig();
    config.drawScenePanel = !config.drawScenePanel;
    menu()->setMenuUIConfig( config );
}

void showMouseHelp()
{
    if ( menu() )
        menu()->showModalMessage(
            "Left drag: turn\nRight or middle drag, or Shift and left drag: move\nWheel: zoom at the pointer\n"
            "Click: select, with Ctrl one more\nDouble click: fit the object\n"
            "Escape: end the tool at work, or clear the selection",
            NotificationType::Info );
}

const FunctionItemRegistrar cTheme( FunctionItemParams{ "Switch theme", &switchTheme, {}, {} } );
const FunctionItemRegistrar cSceneList( FunctionItemParams{
    "Scene list", &switchSceneList, {}, [] { return menu() && menu()->getMenuUIConfig().drawScenePanel; } } );
const FunctionItemRegistrar cShortcuts( FunctionItemParams{ "Shortcuts",
    []
    {
        if ( menu() )
            menu()->showShortcutSheet();
    },
    {}, {} } );
const FunctionItemRegistrar cToolbar( FunctionItemParams{ "Customize toolbar",
    []
    {
        if ( menu() )
            menu()->getToolbar().openCustomize();
    },
    {}, {} } );
const FunctionItemRegistrar cMouse( FunctionItemParams{ "Mouse help", &showMouseHelp, {}, {} } );

} // namespace
} // namespace VX
