#include <VXOrvanta/welcome/WelcomeWindow.h>

#include <VXViewer/menu/RibbonSchema.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/ui/Widgets.h>

namespace VX
{

WelcomeWindow::~WelcomeWindow()
{
    if ( settings_ && setting_ )
        settings_->delComboSettings( ViewerSettingsPlugin::TabType::Application, setting_ );
}

void WelcomeWindow::init( OrvantaRibbonMenu* menu, ItemPressed itemPressed )
{
    menu_ = menu;
    if ( const bool stored = Config::instance().getBool( cSettingsKeyShowWindow, true ); stored != showOnStartup_ )
        showOnStartup_ = visible_ = stored;
    itemPressed_ = std::move( itemPressed );
    settings_ = std::dynamic_pointer_cast<ViewerSettingsPlugin>( RibbonSchemaHolder::findItem( "Viewer settings" ) );
    if ( !settings_ )
        return;
    setting_ = std::make_shared<ShowWelcomeWindowSetting>( "Show Welcome Window", this );
    settings_->addComboSettings( ViewerSettingsPlugin::TabType::Application, setting_ );
}

void WelcomeWindow::draw() {}

void WelcomeWindow::setShowOnStartup( bool show, bool applyNow )
{
    if ( show == showOnStartup_ )
        return;
    showOnStartup_ = show;
    if ( applyNow )
        visible_ = show;
}

void ShowWelcomeWindowSetting::draw( float menuScaling )
{
    if ( !owner_ )
        return;
    if ( UI::checkbox( "Show Welcome Window", &owner_->showOnStartup_ ) )
        Config::instance().setBool( cSettingsKeyShowWindow, owner_->showOnStartup_ );
    UI::setTooltipIfHovered( "Show welcome window when application starts.", menuScaling );
}

void ShowWelcomeWindowSetting::reset()
{
    owner_->showOnStartup_ = true;
}

} // namespace VX
