#include <VXViewer/ribbon/RibbonTopPanel.h>

#include <VXViewer/loop/Wake.h>
#include <VXViewer/ribbon/RibbonItemButton.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/StyleScope.h>
#include <VXViewer/ui/Widgets.h>

#include <imgui_internal.h>

#include <algorithm>

namespace VX
{
namespace
{

using RibbonItemButton::Kind;
using FontType = RibbonFontManager::FontType;

constexpr ImGuiWindowFlags cPanelFlags =
    ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoScrollbar |
    ImGuiWindowFlags_NoScrollWithMouse | ImGuiWindowFlags_NoCollapse | ImGuiWindowFlags_NoBringToFrontOnFocus;
constexpr size_t cRows = 3;
constexpr float cGroupPadding = 7;
constexpr float cItemGap = 2;
constexpr float cRowGap = 1;

Kind kindOf( RibbonGroupSize size )
{
    return size == RibbonGroupSize::Small ? Kind::Row : size == RibbonGroupSize::Icons ? Kind::Icon : Kind::Large;
}

/// Width of the tools of a group, in columns of three where they are small.
float itemsWidth( const std::vector<MenuItemInfo>& items, Kind kind )
{
    const size_t rows = kind == Kind::Large ? 1 : cRows;
    float out = 0;
    for ( size_t i = 0; i < items.size(); i += rows )
    {
        float column = 0;
        for ( size_t k = i; k < std::min( i + rows, items.size() ); ++k )
            column = std::max( column, RibbonItemButton::sizeOf( items[k], kind ).x );
        out += column + cItemGap * UI::scale();
    }
    return out;
}

void drawItems( const std::vector<MenuItemInfo>& items, Kind kind, RibbonItemHost& host, ImVec2 at )
{
    const float scale = UI::scale();
    const size_t rows = kind == Kind::Large ? 1 : cRows;
    for ( size_t i = 0; i < items.size(); i += rows )
    {
        float column = 0, y = at.y;
        for ( size_t k = i; k < std::min( i + rows, items.size() ); ++k )
        {
            const ImVec2 size = RibbonItemButton::sizeOf( items[k], kind );
            ImGui::SetCursorScreenPos( { at.x, y } );
            RibbonItemButton::draw( items[k], kind, host );
            y += size.y + cRowGap * scale;
            column = std::max( column, size.x );
        }
        at.x += column + cItemGap * scale;
    }
}

} // namespace

float RibbonTopPanel::height( bool drawTabs ) const
{
    if ( !drawTabs )
        return cToolsHeight;
    return cTabsHeight + ( collapsed_ ? 0 : cToolsHeight );
}

void RibbonTopPanel::selectTab( const std::string& name )
{
    if ( tab_ == name )
        return;
    tab_ = name;
    revision_ = 0;
}

void RibbonTopPanel::collectGroups_()
{
    const float scale = UI::scale();
    const auto& schema = RibbonSchemaHolder::schema();
    groups_.clear();
    auto tab =
        std::find_if( schema.tabs.begin(), schema.tabs.end(), [this]( const RibbonTab& t ) { return t.name == tab_; } );
    if ( tab == schema.tabs.end() )
        tab = schema.tabs.begin();
    if ( tab == schema.tabs.end() )
        return;
    tab_ = tab->name;
    const FontScope small( FontType::Small );
    for ( const auto& source : tab->groups )
    {
        Group group{ source.name, source.icon, {}, {}, RibbonGroupSize::Full };
        for ( const auto& name : source.items )
            if ( const auto it = schema.items.find( name ); it != schema.items.end() )
                group.items.push_back( it->second );
        const float padding = 2 * cGroupPadding * scale;
        const float caption = ImGui::CalcTextSize( group.name.c_str() ).x;
        for ( const auto size : { RibbonGroupSize::Full, RibbonGroupSize::Small, RibbonGroupSize::Icons } )
            group.widths[size_t( size )] = std::max( itemsWidth( group.items, kindOf( size ) ), caption ) + padding;
        group.widths[size_t( RibbonGroupSize::Folded )] = std::max( caption + 24 * scale, 52 * scale ) + padding;
        groups_.push_back( std::move( group ) );
    }
}

void RibbonTopPanel::updateGroups_( float available )
{
    const float scale = UI::scale();
    const bool changed = revision_ != RibbonSchemaHolder::revision() || scale_ != scale;
    if ( !changed && available == available_ )
        return;
    if ( changed )
        collectGroups_();
    revision_ = RibbonSchemaHolder::revision();
    scale_ = scale;
    available_ = available;
    std::vector<RibbonGroupWidths> widths;
    widths.reserve( groups_.size() );
    for ( const auto& group : groups_ )
        widths.push_back( group.widths );
    const auto sizes = fitRibbonGroups( widths, available );
    for ( size_t i = 0; i < groups_.size(); ++i )
        groups_[i].size = sizes[i];
}

void RibbonTopPanel::drawTab_( const RibbonTab& tab )
{
    const float scale = UI::scale();
    const bool current = tab.name == tab_;
    const ImVec2 text = ImGui::CalcTextSize( tab.name.c_str() );
    const ImVec2 size{ std::ceil( text.x + 26 * scale ), cTabsHeight * scale };
    const ImVec2 low = ImGui::GetCursorScreenPos();
    const ImVec2 high{ low.x + size.x, low.y + size.y };
    ImGui::PushID( tab.name.c_str() );
    const bool pressed = ImGui::InvisibleButton( "##tab", size );
    const bool hovered = ImGui::IsItemHovered();
    ImGui::RenderNavHighlight( { low, high }, ImGui::GetItemID() );
    ImGui::PopID();
    auto& list = *ImGui::GetWindowDrawList();
    const bool shown = current && !collapsed_;
    if ( shown || hovered )
        list.AddRectFilled( { low.x, low.y + 5 * scale }, high,
            themeU32( shown ? ColorTheme::TabActive : ColorTheme::Button ), 6 * scale, ImDrawFlags_RoundCornersTop );
    if ( current )
        list.AddRectFilled( { low.x + 12 * scale, low.y + 5 * scale }, { high.x - 12 * scale, low.y + 7 * scale },
            themeU32( ColorTheme::Accent ), scale );
    list.AddText( { std::round( low.x + ( size.x - text.x ) / 2 ),
                      std::round( low.y + 5 * scale + ( size.y - 5 * scale - text.y ) / 2 ) },
        themeU32( current || hovered ? ColorTheme::Text : ColorTheme::DimText ), tab.name.c_str() );
    if ( pressed )
    {
        openPopup_ = collapsed_;
        selectTab( tab.name );
        redraw();
    }
    if ( hovered && ImGui::IsMouseDoubleClicked( ImGuiMouseButton_Left ) )
    {
        collapsed_ = !collapsed_;
        openPopup_ = false;
    }
    ImGui::SameLine( 0, 2 * scale );
}

void RibbonTopPanel::drawCollapse_()
{
    if ( UI::glyphButton(
             collapsed_ ? Icons::cChevronDown : Icons::cChevronUp, "collapse", themeVec4( ColorTheme::DimText ) ) )
    {
        collapsed_ = !collapsed_;
        redraw();
    }
    UI::setTooltipIfHovered( collapsed_ ? "Show the tools" : "Hide the tools, until a tab is pressed" );
}

void RibbonTopPanel::drawTabs_( RibbonItemHost& host, RibbonMenuSearch& search )
{
    const float scale = UI::scale();
    const float width = ImGui::GetIO().DisplaySize.x;
    ImGui::SetCursorPos( { 10 * scale, 0 } );
    // A short window keeps the tabs and gives up the search field, which Control+F opens all the same.
    const float searchWidth = std::min( 220 * scale, width * 0.25f );
    for ( const auto& tab : RibbonSchemaHolder::schema().tabs )
        drawTab_( tab );
    const float left = ImGui::GetCursorPosX();
    const float searchLeft = width - searchWidth - 40 * scale;
    if ( searchLeft > left || search.isOpen() )
    {
        ImGui::SetCursorPos( { std::max( searchLeft, 10 * scale ), 5 * scale } );
        search.draw( host, searchWidth );
    }
    ImGui::SetCursorPos( { width - 28 * scale, 9 * scale } );
    drawCollapse_();
}

void RibbonTopPanel::drawGroup_( Group& group, RibbonItemHost& host, float top )
{
    const float scale = UI::scale();
    const ImVec2 low{ ImGui::GetCursorScreenPos().x, top };
    const float width = group.widths[size_t( group.size )];
    const float padding = cGroupPadding * scale;
    ImGui::PushID( group.name.c_str() );
    const ImVec2 items{ low.x + padding, low.y + 2 * scale };
    if ( group.size != RibbonGroupSize::Folded )
        drawItems( group.items, kindOf( group.size ), host, items );
    else
    {
        ImGui::SetCursorScreenPos( items );
        const float side = width - 2 * padding;
        if ( UI::buttonIconEx( group.icon, { 24 * scale, 24 * scale }, group.name, { side, 66 * scale } ) )
            ImGui::OpenPopup( "##folded" );
        if ( ImGui::BeginPopup( "##folded" ) )
        {
            for ( const auto& info : group.items )
                RibbonItemButton::drawMenuRow( info, host );
            ImGui::EndPopup();
        }
    }
    auto& list = *ImGui::GetWindowDrawList();
    const FontScope small( FontType::Small );
    if ( group.size != RibbonGroupSize::Folded )
        list.AddText(
            { std::round( low.x + ( width - ImGui::CalcTextSize( group.name.c_str() ).x ) / 2 ), low.y + 69 * scale },
            themeU32( ColorTheme::DimText ), group.name.c_str() );
    list.AddLine( { low.x + width, low.y + 8 * scale }, { low.x + width, low.y + ( cToolsHeight - 8 ) * scale },
        themeU32( ColorTheme::Separator ) );
    ImGui::SetCursorScreenPos( { low.x + width + scale, top } );
    ImGui::PopID();
}

void RibbonTopPanel::drawTools_( RibbonItemHost& host, bool centerItems, float top )
{
    const float scale = UI::scale();
    const float width = ImGui::GetIO().DisplaySize.x;
    updateGroups_( width - 8 * scale );
    float total = 0;
    for ( const auto& group : groups_ )
        total += group.widths[size_t( group.size )];
    const float left = centerItems ? std::max( ( width - total ) / 2, 4 * scale ) : 4 * scale;
    ImGui::SetCursorScreenPos( { left, top } );
    // By index: a press may change the schema, and with it the groups.
    for ( size_t i = 0; i < groups_.size(); ++i )
        drawGroup_( groups_[i], host, top );
}

/// The tools of a tab that was pressed while the panel is collapsed.
void RibbonTopPanel::drawPopup_( RibbonItemHost& host )
{
    const float scale = UI::scale();
    constexpr const char* cId = "##collapsedTools";
    if ( std::exchange( openPopup_, false ) )
        ImGui::OpenPopup( cId );
    ImGui::SetNextWindowPos( { 0, cTabsHeight * scale } );
    ImGui::SetNextWindowSize( { ImGui::GetIO().DisplaySize.x, cToolsHeight * scale } );
    const StyleScope style( { { ImGuiStyleVar_WindowPadding, ImVec2{} }, { ImGuiStyleVar_PopupRounding, 0 },
        { ImGuiCol_PopupBg, themeVec4( ColorTheme::TopPanelBackground ) } } );
    if ( ImGui::BeginPopup( cId, cPanelFlags ) )
    {
        drawTools_( host, false, cTabsHeight * scale );
        ImGui::EndPopup();
    }
}

void RibbonTopPanel::draw( RibbonItemHost& host, RibbonMenuSearch& search, bool drawTabs, bool centerItems )
{
    const float scale = UI::scale();
    if ( revision_ != RibbonSchemaHolder::revision() )
        updateGroups_( ImGui::GetIO().DisplaySize.x - 8 * scale );
    const ImVec2 size{ ImGui::GetIO().DisplaySize.x, std::round( height( drawTabs ) * scale ) };
    ImGui::SetNextWindowPos( {} );
    ImGui::SetNextWindowSize( size );
    {
        const StyleScope style( { { ImGuiStyleVar_WindowPadding, ImVec2{} }, { ImGuiStyleVar_WindowRounding, 0 },
            { ImGuiStyleVar_WindowBorderSize, 0 }, { ImGuiStyleVar_WindowMinSize, { 1, 1 } },
            { ImGuiCol_WindowBg, themeVec4( ColorTheme::TopPanelBackground ) } } );
        ImGui::Begin( "##topPanel", nullptr, cPanelFlags | ImGuiWindowFlags_NoFocusOnAppearing );
    }
    const float tabs = drawTabs ? cTabsHeight * scale : 0;
    if ( drawTabs )
    {
        ImGui::GetWindowDrawList()->AddRectFilled( {}, { size.x, tabs }, themeU32( ColorTheme::Background ) );
        drawTabs_( host, search );
    }
    if ( !drawTabs || !collapsed_ )
        drawTools_( host, centerItems, tabs );
    else
        drawPopup_( host );
    ImGui::GetWindowDrawList()->AddLine(
        { 0, size.y - 0.5f }, { size.x, size.y - 0.5f }, themeU32( ColorTheme::Borders ) );
    ImGui::End();
}

} // namespace VX
