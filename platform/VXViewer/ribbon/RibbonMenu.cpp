#include <VXViewer/ribbon/RibbonMenu.h>

#include <VXViewer/core/Viewer.h>
#include <VXViewer/dialogs/NotificationList.h>
#include <VXViewer/draw/Camera.h>
#include <VXViewer/loop/Wake.h>
#include <VXViewer/ribbon/RibbonItemButton.h>
#include <VXViewer/ribbon/RibbonTopPanel.h>
#include <VXViewer/scene/SceneCache.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/ui/ColorTheme.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/StyleScope.h>
#include <VXViewer/ui/Widgets.h>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <algorithm>

namespace VX
{
namespace
{

constexpr float cSceneListWidth = 252;

void restoreTheme()
{
    const auto stored = Config::instance().getJsonValue( cColorThemeConfigKey );
    if ( stored.isNull() )
        return;
    if ( const auto set = ColorTheme::setup( stored ); !set )
        spdlog::warn( "The theme of the settings is left out: {}", set.error() );
}

constexpr ImGuiWindowFlags cPanelFlags = ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize |
                                         ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoBringToFrontOnFocus |
                                         ImGuiWindowFlags_NoScrollbar | ImGuiWindowFlags_NoScrollWithMouse |
                                         ImGuiWindowFlags_NoFocusOnAppearing;

} // namespace

struct RibbonMenu::Parts
{
    RibbonTopPanel topPanel;
    NotificationList notifications;
};

class RibbonMenu::Host final : public RibbonItemHost
{
public:
    explicit Host( RibbonMenu& menu )
        : menu_( menu )
    {
    }
    void press( const std::shared_ptr<RibbonMenuItem>& item ) override { menu_.emitItemPressed( item ); }
    std::string_view requirements( const std::shared_ptr<RibbonMenuItem>& item ) override
    {
        return menu_.getRequirements_( item );
    }
    std::string shortcut( const std::string& itemName ) override
    {
        const auto& manager = menu_.getShortcutManager();
        const auto key = manager ? manager->findShortcutByName( itemName ) : std::nullopt;
        return key ? ShortcutManager::getKeyFullString( *key ) : std::string();
    }

private:
    RibbonMenu& menu_;
};

RibbonMenu* currentRibbonMenu()
{
    return dynamic_cast<RibbonMenu*>( currentMenu() );
}

RibbonMenu::RibbonMenu()
    : host_( std::make_unique<Host>( *this ) )
    , sceneList_( std::make_shared<RibbonSceneObjectsListDrawer>( *host_ ) )
    , parts_( std::make_unique<Parts>() )
{
}

RibbonMenu::~RibbonMenu() = default;

void RibbonMenu::init( Viewer* viewer )
{
    restoreTheme();
    ImGuiMenu::init( viewer );
    toolbar_.load();
    drawCallback = [this] { drawFrame_( [] {}, [this]( bool ) { draw_helpers(); } ); };
}

void RibbonMenu::shutdown()
{
    active_.endAll();
    selected_.clear();
    ImGuiMenu::shutdown();
}

void RibbonMenu::pushNotification( const RibbonNotification& notification )
{
    if ( ( notification.tags & allowedTags_ ) == 0 )
        return;
    parts_->notifications.push( notification );
    redraw();
}

void RibbonMenu::removeNotification( const std::string& key )
{
    parts_->notifications.remove( key );
    redraw();
}

bool RibbonMenu::itemPressed_( const std::shared_ptr<RibbonMenuItem>& item, const std::string& requirements )
{
    if ( !item )
        return false;
    if ( !item->isActive() && !requirements.empty() )
    {
        const auto& items = RibbonSchemaHolder::schema().items;
        const auto it = items.find( item->name() );
        pushNotification( { .header = it == items.end() ? item->name() : it->second.caption,
            .text = requirements,
            .type = NotificationType::Info,
            .lifeTimeSec = 4 } );
        return false;
    }
    const bool done = active_.press( item );
    redraw();
    return done;
}

void RibbonMenu::emitItemPressed( const std::shared_ptr<RibbonMenuItem>& item )
{
    itemPressed_( item, item ? std::string( getRequirements_( item ) ) : std::string() );
}

std::string_view RibbonMenu::getRequirements_( const std::shared_ptr<RibbonMenuItem>& item ) const
{
    return item->isAvailable( selected_ );
}

void RibbonMenu::updateSelectedObjects_()
{
    // Copying a large selection belongs to the change of it, not to every frame.
    if ( std::exchange( selectedRevision_, viewer_().sceneRoot().revision() ) != viewer_().sceneRoot().revision() )
        selected_ = SceneCache::getAllObjects<const Object, ObjectSelectivityType::Selected>();
}

void RibbonMenu::drawFrame_(
    const std::function<void()>& beforeLabels, const std::function<void( bool anyPanel )>& overScene )
{
    const bool topPanel = uiConfig_.topLayout != TopPanelLayoutMode::None;
    const bool anyPanel = topPanel || uiConfig_.drawScenePanel;
    if ( topPanel )
    {
        drawTopPanel_( uiConfig_.topLayout == TopPanelLayoutMode::RibbonWithTabs, uiConfig_.centerRibbonItems );
        drawActiveBlockingDialog_();
        drawActiveNonBlockingDialogs_();
        if ( uiConfig_.drawToolbar )
            drawToolbar_();
    }
    if ( uiConfig_.drawScenePanel )
        drawRibbonSceneList_();
    beforeLabels();
    if ( uiConfig_.drawViewportTags )
        drawRibbonViewportsLabels_();
    if ( topPanel )
        drawActiveList_();
    overScene( anyPanel );
    if ( uiConfig_.drawNotifications )
        drawNotifications_();
    updateSelectedObjects_();
}

void RibbonMenu::drawTopPanel_( bool drawTabs, bool centerItems )
{
    updateHints_();
    parts_->topPanel.draw( *host_, search_, drawTabs, centerItems );
}

void RibbonMenu::drawDialogOf_( const std::shared_ptr<RibbonMenuItem>& item )
{
    item->drawDialog();
    active_.update( item );
}

void RibbonMenu::drawActiveBlockingDialog_()
{
    if ( const auto item = active_.blocking() )
        drawDialogOf_( item );
}

void RibbonMenu::drawActiveNonBlockingDialogs_()
{
    const auto items = active_.others();
    for ( const auto& item : items )
        drawDialogOf_( item );
}

void RibbonMenu::drawRibbonSceneList_()
{
    const float scale = UI::scale();
    UI::beginSidePanel( "##sceneList", { 0, std::round( getTopPanelHeight() * scale ) }, getSceneListWidth() );
    UI::text( RibbonFontManager::FontType::SemiBold, "Scene" );
    const float buttons = 22 * scale + ImGui::GetStyle().ItemSpacing.y;
    const float footer = ImGui::GetTextLineHeight() + ImGui::GetStyle().ItemSpacing.y;
    sceneList_->draw( viewer_().sceneRoot(), buttons + footer );
    drawSceneListButtons_();
    drawSceneCounts_();
    UI::endSidePanel();
}

void RibbonMenu::drawSceneCounts_()
{
    const size_t objects = sceneList_->objectCount(), triangles = sceneList_->triangleCount();
    if ( sceneCounts_.text.empty() || sceneCounts_.objects != objects || sceneCounts_.triangles != triangles )
        sceneCounts_ = { objects, triangles,
            fmt::format( "{} object{}, {} triangles", UI::formatCount( objects ), objects == 1 ? "" : "s",
                UI::formatCount( triangles ) ) };
    const FontScope small( RibbonFontManager::FontType::Small );
    UI::colored( themeVec4( ColorTheme::DimText ), sceneCounts_.text );
}

void RibbonMenu::drawSceneListButtons_()
{
    const auto& schema = RibbonSchemaHolder::schema();
    const StyleScope style( { { ImGuiStyleVar_ItemSpacing, { 2 * UI::scale(), ImGui::GetStyle().ItemSpacing.y } } } );
    for ( size_t i = 0; i < schema.sceneButtons.size(); ++i )
    {
        const auto it = schema.items.find( schema.sceneButtons[i] );
        if ( it == schema.items.end() )
            continue;
        RibbonItemButton::draw( it->second, RibbonItemButton::Kind::Icon, *host_ );
        ImGui::SameLine();
    }
    ImGui::NewLine();
}

void RibbonMenu::drawRibbonViewportsLabels_()
{
    const float scale = UI::scale();
    const FontScope small( RibbonFontManager::FontType::Small );
    const char* label = viewer_().camera().isOrthographic() ? "Orthographic" : "Perspective";
    const ImVec2 size = ImGui::CalcTextSize( label ), display = ImGui::GetIO().DisplaySize;
    ImGui::GetBackgroundDrawList()->AddText(
        { std::round( display.x - size.x - 16 * scale ), std::round( ( getTopPanelHeight() + 12 ) * scale ) },
        toImU32( ColorTheme::getViewportColor( ColorTheme::Label ) ), label );
    drawHint_();
}

void RibbonMenu::drawActiveList_()
{
    if ( !hasAnyActiveItem() )
        return;
    const float scale = UI::scale();
    const float left = coveredPixels().x + 12 * scale, top = ( getTopPanelHeight() + 8 ) * scale;
    const bool hasRoom = !uiConfig_.drawToolbar || left + activeListWidth_ + 8 * scale <= toolbar_.left();
    ImGui::SetNextWindowPos( { left, hasRoom ? top : top + 42 * scale } );
    {
        const StyleScope style(
            { { ImGuiStyleVar_WindowPadding, { 10 * scale, 6 * scale } }, { ImGuiStyleVar_WindowMinSize, { 1, 1 } } } );
        ImGui::Begin( "##activeTools", nullptr, cPanelFlags | ImGuiWindowFlags_AlwaysAutoResize );
    }
    auto items = active_.others();
    if ( active_.blocking() )
        items.push_back( active_.blocking() );
    for ( const auto& item : items )
    {
        const auto it = RibbonSchemaHolder::schema().items.find( item->name() );
        const auto& caption = it == RibbonSchemaHolder::schema().items.end() ? item->name() : it->second.caption;
        if ( UI::glyphButton( Icons::cClose, item->name().c_str(), themeVec4( ColorTheme::DimText ) ) )
            emitItemPressed( item );
        UI::setTooltipIfHovered( "End this tool" );
        ImGui::SameLine();
        ImGui::TextUnformatted( caption.c_str() );
    }
    // Beside the toolbar it is drawn only where both have room.
    if ( std::exchange( activeListWidth_, ImGui::GetWindowWidth() ) != activeListWidth_ )
        redraw();
    ImGui::End();
}

void RibbonMenu::drawNotifications_()
{
    parts_->notifications.draw(
        std::min( ( getTopPanelHeight() + 8 ) * UI::scale(), ImGui::GetIO().DisplaySize.y / 2 ) );
}

void RibbonMenu::drawHint_()
{
    if ( !hintWanted_ || isModalShown() || hasAnyActiveItem() || !viewer_().sceneRoot().children().empty() )
        return;
    const ImVec2 size = ImGui::GetIO().DisplaySize;
    const auto covered = coveredPixels();
    auto& list = *ImGui::GetBackgroundDrawList();
    const auto line = [&]( RibbonFontManager::FontType type, const char* text, float y )
    {
        const FontScope font( type );
        const float width = ImGui::CalcTextSize( text ).x;
        list.AddText( { std::round( ( size.x + covered.x - width ) / 2 ),
                          std::round( ( size.y + covered.y ) / 2 + y * UI::scale() ) },
            toImU32( ColorTheme::getViewportColor( ColorTheme::Label ) ), text );
    };
    line( RibbonFontManager::FontType::Headline, "Drop a file here", -26 );
    updateHints_();
    if ( !openHint_.empty() )
        line( RibbonFontManager::FontType::Default, openHint_.c_str(), 8 );
}

void RibbonMenu::updateHints_()
{
    // Finding a command by its name looks at all of them.
    const auto revision = getShortcutManager() ? getShortcutManager()->revision() : 0;
    if ( std::exchange( hintsRevision_, revision ) == revision )
        return;
    const auto search = host_->shortcut( "Search" ), open = host_->shortcut( "Open files" );
    search_.setHint( search.empty() ? "Search" : "Search (" + search + ")" );
    openHint_ = open.empty() ? std::string() : fmt::format( "or press {} to open one", open );
}

void RibbonMenu::drawToolbar_()
{
    toolbar_.drawToolbar( *host_, coveredPixels().x, getTopPanelHeight() * UI::scale() );
    toolbar_.drawCustomize();
}

void RibbonMenu::onSceneClick( Object* object, bool add )
{
    sceneList_->select( viewer_().sceneRoot(), object, add );
}

Vector2f RibbonMenu::coveredPixels() const
{
    return { getSceneListWidth() + sidePanelWidth_, getTopPanelHeight() * menu_scaling() };
}

bool RibbonMenu::isModalShown() const
{
    return ImGuiMenu::isModalShown() || toolbar_.isCustomizeOpen();
}

void RibbonMenu::setMenuUIConfig( const RibbonMenuUIConfig& config )
{
    uiConfig_ = config;
    redraw();
}

void RibbonMenu::schemaChanged()
{
    toolbar_.load();
    rebindShortcuts_();
    redraw();
}

void RibbonMenu::selectTab( const std::string& name )
{
    parts_->topPanel.selectTab( name );
}

const std::string& RibbonMenu::currentTab() const
{
    return parts_->topPanel.currentTab();
}

bool RibbonMenu::hasAnyActiveItem() const
{
    return !active_.empty();
}

size_t RibbonMenu::notificationCount() const
{
    return parts_->notifications.size();
}

float RibbonMenu::getTopPanelHeight() const
{
    if ( uiConfig_.topLayout == TopPanelLayoutMode::None )
        return 0;
    return parts_->topPanel.height( uiConfig_.topLayout == TopPanelLayoutMode::RibbonWithTabs );
}

float RibbonMenu::getSceneListWidth() const
{
    if ( !uiConfig_.drawScenePanel )
        return 0;
    // A small window is shared with the scene.
    const float width = cSceneListWidth * menu_scaling();
    return std::round( std::min( width, ImGui::GetIO().DisplaySize.x * 0.4f ) );
}

void RibbonMenu::setSidePanelWidth( float pixels )
{
    if ( std::exchange( sidePanelWidth_, pixels ) != pixels )
        redraw();
}

void RibbonMenu::startTool( const std::string& name )
{
    const auto item = RibbonSchemaHolder::findItem( name );
    if ( item && !item->isActive() && active_.press( item ) )
        redraw();
}

std::string RibbonMenu::captionOf_( const std::string& command ) const
{
    const auto& items = RibbonSchemaHolder::schema().items;
    const auto it = items.find( command );
    return it == items.end() ? command : it->second.caption;
}

void RibbonMenu::onEscape_()
{
    if ( active_.empty() )
        return ImGuiMenu::onEscape_();
    emitItemPressed( active_.topmost() );
}

} // namespace VX
