#include <VXViewer/ribbon/RibbonMenu.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/tools/FunctionItem.h>
#include <VXViewer/tools/ViewerSettingsPlugin.h>
#include <VXViewer/ui/ColorTheme.h>

namespace VX
{
namespace
{

void switchTheme()
{
    const auto other =
        ColorTheme::getPreset() == ColorTheme::Preset::Dark ? ColorTheme::Preset::Light : ColorTheme::Preset::Dark;
    ColorTheme::setupPreset( other );
    Config::instance().setJsonValue( cColorThemeConfigKey, ColorTheme::getPresetName( other ) );
}

void switchSceneList()
{
    if ( !currentRibbonMenu() )
        return;
    auto config = currentRibbonMenu()->getMenuUIConfig();
    config.drawScenePanel = !config.drawScenePanel;
    currentRibbonMenu()->setMenuUIConfig( config );
}

void showMouseHelp()
{
    if ( currentRibbonMenu() )
        currentRibbonMenu()->showModalMessage(
            "Left drag: turn\nRight or middle drag, or Shift and left drag: move\nWheel: zoom at the pointer\n"
            "Click: select, with Ctrl one more\nDouble click: fit the object\n"
            "Escape: end the tool at work, or clear the selection",
            NotificationType::Info );
}

const FunctionItemRegistrar cTheme( FunctionItemParams{ "Switch theme", &switchTheme, {}, {} } );
const FunctionItemRegistrar cSceneList( FunctionItemParams{ "Scene list", &switchSceneList, {},
    [] { return currentRibbonMenu() && currentRibbonMenu()->getMenuUIConfig().drawScenePanel; } } );
const FunctionItemRegistrar cShortcuts( FunctionItemParams{ "Shortcuts",
    []
    {
        if ( currentRibbonMenu() )
            currentRibbonMenu()->showShortcutSheet();
    },
    {}, {} } );
const FunctionItemRegistrar cToolbar( FunctionItemParams{ "Customize toolbar",
    []
    {
        if ( currentRibbonMenu() )
            currentRibbonMenu()->getToolbar().openCustomize();
    },
    {}, {} } );
const FunctionItemRegistrar cMouse( FunctionItemParams{ "Mouse help", &showMouseHelp, {}, {} } );

} // namespace
} // namespace VX
