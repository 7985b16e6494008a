#include <VXViewer/tools/ViewerSettingsPlugin.h>

#include <VXMesh/io/Json.h>
#include <VXMesh/io/Path.h>
#include <VXViewer/core/CameraController.h>
#include <VXViewer/core/CurrentView.h>
#include <VXViewer/draw/Camera.h>
#include <VXViewer/draw/DrawSettings.h>
#include <VXViewer/loop/Wake.h>
#include <VXViewer/menu/ImGuiMenu.h>
#include <VXViewer/schema/RibbonSchema.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/system/UserDirs.h>
#include <VXViewer/ui/ColorTheme.h>
#include <VXViewer/ui/Widgets.h>
#include <VXViewer/window/Window.h>

#include <imgui.h>

#include <algorithm>

namespace VX
{
namespace
{

const RibbonItemRegistrar<ViewerSettingsPlugin> cRegistrar;

constexpr std::array<const char*, size_t( ViewerSettingsPlugin::TabType::Count )> cTabNames{
    "Quick", "Application", "Viewport" };

constexpr float cResetWidth = 96;

DrawSettings& drawSettings()
{
    return viewDrawSettings();
}

/// Themes of the user: the JSON files in the folder "themes" of the settings.
std::vector<std::filesystem::path> userThemes()
{
    std::vector<std::filesystem::path> out;
    std::error_code ec;
    for ( std::filesystem::directory_iterator it( getUserConfigDir() / "themes", ec ), end; !ec && it != end;
        it.increment( ec ) )
        if ( it->path().extension() == ".json" )
            out.push_back( it->path() );
    std::sort( out.begin(), out.end() );
    return out;
}

void choosePreset( ColorTheme::Preset preset )
{
    ColorTheme::setupPreset( preset );
    Config::instance().setJsonValue( cColorThemeConfigKey, ColorTheme::getPresetName( preset ) );
}

void chooseFile( const std::filesystem::path& file )
{
    auto theme = deserializeJsonValue( file );
    const auto set = theme ? ColorTheme::setupUserTheme( *theme ) : tl::unexpected( theme.error() );
    if ( set )
        return Config::instance().setJsonValue( cColorThemeConfigKey, *theme );
    if ( auto* menu = currentMenu() )
        menu->showModalMessage( "The theme \"" + utf8string( file.filename() ) + "\" cannot be used.\n" + set.error(),
            NotificationType::Error );
}

void drawShading()
{
    int shading = int( drawSettings().shading );
    if ( UI::combo( "Shading", &shading, { "Automatic", "Smooth", "Flat" } ) )
        drawSettings().shading = Shading( shading );
    UI::checkbox( "Edges", &drawSettings().edges );
    UI::checkbox( "Wireframe", &drawSettings().wireframe );
}

void drawProjection()
{
    auto& camera = viewCamera();
    bool orthographic = camera.isOrthographic();
    if ( UI::checkbox( "Orthographic projection", &orthographic ) )
        camera.setOrthographic( orthographic );
}

} // namespace

ViewerSettingsPlugin::ViewerSettingsPlugin()
    : StatePlugin( "Viewer settings" )
{
}

std::vector<ToolShortcut> ViewerSettingsPlugin::shortcuts() const
{
    return { { { ',', ControlModifier }, ShortcutManager::Category::Info } };
}

ViewerSettingsPlugin* ViewerSettingsPlugin::instance()
{
    return dynamic_cast<ViewerSettingsPlugin*>( RibbonSchemaHolder::findItem( "Viewer settings" ).get() );
}

void ViewerSettingsPlugin::addComboSettings( TabType tab, std::shared_ptr<ExternalSettings> settings )
{
    external_.at( size_t( tab ) ).push_back( std::move( settings ) );
}

void ViewerSettingsPlugin::delComboSettings( TabType tab, const std::shared_ptr<ExternalSettings>& settings )
{
    std::erase( external_.at( size_t( tab ) ), settings );
}

void ViewerSettingsPlugin::setActiveTab( TabType tab )
{
    activeTab_ = tab;
    selectTab_ = true;
    askingReset_ = false;
    // One frame to change the tab, one to measure it, one to stand.
    redraw( 3 );
}

void ViewerSettingsPlugin::drawTheme_()
{
    std::vector<std::string> names{ "Dark", "Light" };
    const bool user = ColorTheme::getThemeType() == ColorTheme::Type::User;
    int chosen = user ? -1 : int( ColorTheme::getPreset() );
    ImGui::SetNextItemWidth( ImGui::GetContentRegionAvail().x * 0.55f );
    const auto shown = user ? ColorTheme::getUserThemeName() : names[size_t( chosen )];
    if ( !ImGui::BeginCombo( "Theme", shown.c_str() ) )
        return;
    for ( const auto preset : { ColorTheme::Preset::Dark, ColorTheme::Preset::Light } )
        if ( ImGui::Selectable( ColorTheme::getPresetName( preset ), chosen == int( preset ) ) )
            choosePreset( preset );
    for ( const auto& file : userThemes() )
        if ( ImGui::Selectable( utf8string( file.stem() ).c_str() ) )
            chooseFile( file );
    ImGui::EndCombo();
}

void ViewerSettingsPlugin::drawApplication_()
{
    UI::separator( "Look" );
    drawTheme_();
    auto* menu = currentMenu();
    if ( !menu )
        return;
    // The size changes when the slider is let go, not under the hand that drags it.
    if ( !ImGui::IsAnyItemActive() )
        newScale_ = menu->userScaling();
    ImGui::SetNextItemWidth( ImGui::GetContentRegionAvail().x * 0.55f );
    UI::slider( "Interface size", &newScale_, 0.75f, 2.f );
    if ( ImGui::IsItemDeactivatedAfterEdit() )
        menu->setUserScaling( newScale_ );
}

void ViewerSettingsPlugin::drawViewport_()
{
    auto& settings = drawSettings();
    UI::separator( "Surfaces" );
    ImGui::SetNextItemWidth( ImGui::GetContentRegionAvail().x * 0.55f );
    drawShading();
    UI::separator( "Points" );
    ImGui::SetNextItemWidth( ImGui::GetContentRegionAvail().x * 0.55f );
    UI::slider( "Point size", &settings.pointSize, 1, 12, "%.0f px" );
    UI::separator( "Camera" );
    drawProjection();
    bool aboutPointer = Config::instance().getBool( cTurnAboutPointerConfigKey, true );
    if ( UI::checkbox( "Turn about the point under the pointer", &aboutPointer ) )
        Config::instance().setBool( cTurnAboutPointerConfigKey, aboutPointer );
    UI::setTooltipIfHovered( "Otherwise the view turns about the middle of what was shown last" );
}

void ViewerSettingsPlugin::drawQuick_()
{
    UI::separator( "Look" );
    drawTheme_();
    UI::separator( "View" );
    ImGui::SetNextItemWidth( ImGui::GetContentRegionAvail().x * 0.55f );
    drawShading();
    drawProjection();
}

void ViewerSettingsPlugin::drawExternal_( TabType tab )
{
    // Entries of one heading stand together, headings in the order in which they first came.
    const auto& entries = external_.at( size_t( tab ) );
    std::vector<std::string> headings;
    for ( const auto& entry : entries )
        if ( std::find( headings.begin(), headings.end(), entry->separatorName() ) == headings.end() )
            headings.emplace_back( entry->separatorName() );
    for ( const auto& heading : headings )
    {
        UI::separator( heading );
        for ( const auto& entry : entries )
            if ( heading == entry->separatorName() )
                entry->draw( UI::scale() );
    }
}

void ViewerSettingsPlugin::reset_( TabType tab )
{
    if ( tab != TabType::Viewport )
        choosePreset( ColorTheme::Preset::Dark );
    if ( auto* menu = currentMenu(); menu && tab == TabType::Application )
        menu->setUserScaling( 1 );
    if ( tab != TabType::Application )
    {
        const DrawSettings defaults;
        drawSettings().shading = defaults.shading;
        drawSettings().edges = defaults.edges;
        drawSettings().wireframe = defaults.wireframe;
        drawSettings().pointSize = defaults.pointSize;
        viewCamera().setOrthographic( false );
    }
    if ( tab == TabType::Viewport )
        Config::instance().setBool( cTurnAboutPointerConfigKey, true );
    for ( const auto& entry : external_.at( size_t( tab ) ) )
        entry->reset();
}

std::string ViewerSettingsPlugin::resetEffects_( TabType tab ) const
{
    std::string out;
    if ( tab != TabType::Viewport )
        out += "The theme is dark again\n";
    if ( tab == TabType::Application )
        out += "The interface has its usual size\n";
    else
        out += "Shading, edges, wireframe, point size and projection are as at the first start\n";
    for ( const auto& entry : external_.at( size_t( tab ) ) )
        out += entry->resetEffect() + "\n";
    out.pop_back();
    return out;
}

void ViewerSettingsPlugin::drawReset_( TabType tab )
{
    if ( !askingReset_ )
    {
        askingReset_ = UI::dialogButton( "Reset..." );
        UI::setTooltipIfHovered( "Back to the defaults of this page" );
        if ( askingReset_ )
            redraw();
        return;
    }
    UI::separator( "Reset this page?" );
    UI::wrapped( ImGui::GetStyleColorVec4( ImGuiCol_Text ), resetEffects_( tab ) );
    const bool reset = UI::button( "Reset", { cResetWidth * UI::scale(), 0 } );
    ImGui::SameLine();
    const bool cancel = UI::dialogButton( "Cancel" );
    if ( reset )
        reset_( tab );
    if ( !reset && !cancel )
        return;
    askingReset_ = false;
    redraw();
}

void ViewerSettingsPlugin::drawTab_( TabType tab )
{
    const auto flags = selectTab_ && activeTab_ == tab ? ImGuiTabItemFlags_SetSelected : 0;
    if ( !ImGui::BeginTabItem( cTabNames.at( size_t( tab ) ), nullptr, flags ) )
        return;
    if ( !selectTab_ && std::exchange( activeTab_, tab ) != tab )
    {
        askingReset_ = false;
        redraw();
    }
    if ( tab == TabType::Quick )
        drawQuick_();
    else if ( tab == TabType::Application )
        drawApplication_();
    else
        drawViewport_();
    drawExternal_( tab );
    ImGui::Dummy( { 0, 6 * UI::scale() } );
    drawReset_( tab );
    ImGui::EndTabItem();
}

void ViewerSettingsPlugin::drawDialog()
{
    bool open = true;
    if ( UI::beginToolDialog( "Viewer settings", &open, 360 ) && ImGui::BeginTabBar( "##tabs" ) )
    {
        for ( const auto tab : { TabType::Quick, TabType::Application, TabType::Viewport } )
            drawTab_( tab );
        selectTab_ = false;
        ImGui::EndTabBar();
    }
    ImGui::End();
    if ( open )
        return;
    askingReset_ = false;
    enable( false );
}

} // namespace VX
