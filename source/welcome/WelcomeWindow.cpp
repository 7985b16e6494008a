#include <VXOrvanta/welcome/WelcomeWindow.h>

#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/core/CurrentView.h>
#include <VXViewer/ribbon/RibbonMenu.h>
#include <VXViewer/scene/SceneCache.h>
#include <VXViewer/schema/RibbonSchema.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/ui/Widgets.h>
#include <VXViewer/window/Window.h>

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
    if ( !menu_ || ( !visible_ && !showOnStartup_ ) )
        return;
    if ( !SceneCache::getAllObjects<VisualObject, ObjectSelectivityType::Selectable>().empty() )
    {
        visible_ = false;
        return;
    }
    // It comes back when the scene is empty and no tool is at work.
    visible_ = !ribbon_().hasAnyActiveItem();
    if ( !visible_ || !updateCenter_() )
        return;
    drawPanels_();
}

bool WelcomeWindow::isDue() const
{
    return menu_ && ( visible_ || showOnStartup_ ) && !ribbon_().hasAnyActiveItem() && hasRoom_();
}

Vector2f WelcomeWindow::coveredPixels_() const
{
    return { ribbon_().getSceneListWidth(), ribbon_().getTopPanelHeight() * ribbon_().menu_scaling() };
}

bool WelcomeWindow::hasRoom_() const
{
    const auto* window = viewWindow();
    const auto covered = coveredPixels_();
    const float scale = ribbon_().menu_scaling();
    return float( window->width() ) - covered.x >= cLeastWidth * scale &&
           float( window->height() ) - covered.y >= cLeastHeight * scale;
}

bool WelcomeWindow::updateCenter_()
{
    scaling_ = ribbon_().menu_scaling();
    const auto* window = viewWindow();
    const auto covered = coveredPixels_();
    center_ = { ( covered.x + float( window->width() ) ) * 0.5f, ( covered.y + float( window->height() ) ) * 0.5f };
    return hasRoom_();
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
    if ( owner_ )
        owner_->showOnStartup_ = true;
}

} // namespace VX
