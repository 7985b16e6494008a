#include <VXOrvanta/welcome/WelcomeWindow.h>

#include <VXMesh/scene/VisualObjects.h>
#include <VXOrvanta/shell/OrvantaRibbonMenu.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/menu/RibbonSchema.h>
#include <VXViewer/menu/SceneCache.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/ui/Widgets.h>

namespace VX
{
namespace
{

// What the panels need of the free area at scale 1.
constexpr float cLeastWidth = 898, cLeastHeight = 540;

} // namespace

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

void WelcomeWindow::draw()
{
    drawn_ = false;
    if ( !menu_ || ( !visible_ && !showOnStartup_ ) )
        return;
    if ( !SceneCache::getAllObjects<VisualObject, ObjectSelectivityType::Selectable>().empty() )
    {
        visible_ = false;
        return;
    }
    // It comes back when the scene is empty and no tool is at work.
    visible_ = !menu_->hasAnyActiveItem();
    if ( !visible_ || !updateCenter_() )
        return;
    drawPanels_();
    drawn_ = true;
}

bool WelcomeWindow::updateCenter_()
{
    scaling_ = menu_->menu_scaling();
    const auto* window = getViewerInstance().window();
    const float left = menu_->getSceneListWidth(), top = menu_->getTopPanelHeight() * scaling_;
    const float right = float( window->width() ), bottom = float( window->height() );
    center_ = { ( left + right ) * 0.5f, ( top + bottom ) * 0.5f };
    return right - left >= cLeastWidth * scaling_ && bottom - top >= cLeastHeight * scaling_;
}

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
