#include <VXViewer/ribbon/Toolbar.h>

#include <VXMesh/io/Text.h>
#include <VXViewer/loop/Wake.h>
#include <VXViewer/ribbon/RibbonItemButton.h>
#include <VXViewer/settings/Config.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/Keyboard.h>
#include <VXViewer/ui/Modal.h>
#include <VXViewer/ui/StyleScope.h>
#include <VXViewer/ui/TextField.h>
#include <VXViewer/ui/Widgets.h>

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <algorithm>

namespace VX
{
namespace
{

constexpr const char* cConfigKey = "quickAccess";
constexpr const char* cCustomizeId = "Customize the toolbar##customize";
constexpr const char* cDragId = "toolbarItem";

bool exists( const std::string& name )
{
    return RibbonSchemaHolder::schema().items.contains( name );
}

std::vector<std::pair<std::string, std::string>> captionsAndNames( const std::string& filter )
{
    std::vector<std::pair<std::string, std::string>> out;
    for ( const auto& [name, info] : RibbonSchemaHolder::schema().items )
        if ( toLower( info.caption ).find( filter ) != std::string::npos )
            out.emplace_back( info.caption, name );
    std::sort( out.begin(), out.end() );
    return out;
}

/// Of the lists of the dialog: the rest of it needs so much of the window's height.
float listHeight()
{
    const float scale = UI::scale();
    constexpr float cMost = 250, cLeast = 48, cRest = 210;
    return std::clamp( ImGui::GetIO().DisplaySize.y - cRest * scale, cLeast * scale, cMost * scale );
}

} // namespace

Toolbar::Items Toolbar::upgraded( Items items, int savedVersion ) const
{
    for ( auto it = upgrades_.upper_bound( savedVersion ); it != upgrades_.end(); ++it )
        it->second( items );
    return items;
}

void Toolbar::load()
{
    const auto saved = Config::instance().getJsonValue( cConfigKey );
    if ( !saved.isObject() || !saved["List"].isArray() )
    {
        items_ = RibbonSchemaHolder::schema().quickAccess;
        return;
    }
    Items names;
    for ( const auto& name : saved["List"] )
        if ( name.isString() )
            names.push_back( name.asString() );
    names = upgraded( std::move( names ), saved["Version"].isInt() ? saved["Version"].asInt() : 1 );
    items_.clear();
    for ( auto& name : names )
    {
        const bool twice = std::find( items_.begin(), items_.end(), name ) != items_.end();
        if ( !exists( name ) )
            spdlog::warn( "The toolbar names the tool \"{}\", which does not exist", name );
        else if ( !twice && items_.size() < cMaxItems )
            items_.push_back( std::move( name ) );
    }
}

void Toolbar::resetToDefault()
{
    setItems( RibbonSchemaHolder::schema().quickAccess );
}

void Toolbar::setItems( Items items )
{
    items_ = std::move( items );
    save_();
}

void Toolbar::save_() const
{
    Json::Value list( Json::arrayValue );
    for ( const auto& name : items_ )
        list.append( name );
    Json::Value value;
    value["Version"] = RibbonSchemaHolder::schema().quickAccessVersion;
    value["List"] = list;
    Config::instance().setJsonValue( cConfigKey, value );
}

void Toolbar::toggle_( const std::string& name )
{
    const auto it = std::find( items_.begin(), items_.end(), name );
    if ( it != items_.end() )
        items_.erase( it );
    else if ( items_.size() < cMaxItems )
        items_.push_back( name );
    save_();
}

void Toolbar::drawToolbar( RibbonItemHost& host, float left, float top )
{
    const float scale = UI::scale();
    left_ = std::numeric_limits<float>::infinity();
    if ( items_.empty() )
        return;
    const float right = ImGui::GetIO().DisplaySize.x;
    ImGui::SetNextWindowPos( { std::round( ( left + right ) / 2 ), top + 8 * scale }, ImGuiCond_Always, { 0.5f, 0 } );
    const StyleScope spacing( { { ImGuiStyleVar_ItemSpacing, { 2 * scale, 0 } } } );
    {
        const StyleScope style(
            { { ImGuiStyleVar_WindowPadding, { 6 * scale, 5 * scale } }, { ImGuiStyleVar_WindowMinSize, { 1, 1 } } } );
        ImGui::Begin( "##toolbar", nullptr,
            ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove |
                ImGuiWindowFlags_NoScrollbar | ImGuiWindowFlags_AlwaysAutoResize | ImGuiWindowFlags_NoFocusOnAppearing |
                ImGuiWindowFlags_NoBringToFrontOnFocus );
    }
    const auto& all = RibbonSchemaHolder::schema().items;
    // What a narrow window has no room for is still in the ribbon.
    const float room = ( right - left - 60 * scale ) / ( 28 * scale );
    const size_t shown = std::min( items_.size(), size_t( std::max( room, 1.f ) ) );
    // By index: a press may change the list.
    for ( size_t i = 0; i < std::min( shown, items_.size() ); ++i )
    {
        const auto it = all.find( items_[i] );
        if ( it == all.end() )
            continue;
        RibbonItemButton::draw( it->second, RibbonItemButton::Kind::Alone, host );
        ImGui::SameLine();
    }
    const float height = 22 * scale;
    ImGui::SetCursorPosY( ImGui::GetCursorPosY() + std::round( ( height - ImGui::GetTextLineHeight() ) / 2 ) );
    if ( UI::glyphButton( Icons::cCog, "customize", themeVec4( ColorTheme::DimText ) ) )
        openCustomize();
    UI::setTooltipIfHovered( "Choose the tools of this bar" );
    left_ = ImGui::GetWindowPos().x;
    ImGui::End();
}

void Toolbar::drawChosen_()
{
    const auto& all = RibbonSchemaHolder::schema().items;
    UI::text( RibbonFontManager::FontType::SemiBold, fmt::format( "In the bar ({} of {})", items_.size(), cMaxItems ) );
    ImGui::BeginChild( "##chosen", { 0, listHeight() }, true );
    for ( size_t i = 0; i < items_.size(); ++i )
    {
        const auto it = all.find( items_[i] );
        ImGui::PushID( int( i ) );
        ImGui::Selectable( it == all.end() ? items_[i].c_str() : it->second.caption.c_str() );
        // Rows are moved by dragging one over another.
        if ( ImGui::BeginDragDropSource() )
        {
            ImGui::SetDragDropPayload( cDragId, &i, sizeof( i ) );
            ImGui::TextUnformatted( items_[i].c_str() );
            ImGui::EndDragDropSource();
        }
        if ( ImGui::BeginDragDropTarget() )
        {
            if ( const auto* payload = ImGui::AcceptDragDropPayload( cDragId ) )
            {
                const size_t from = *static_cast<const size_t*>( payload->Data );
                auto name = items_[from];
                items_.erase( items_.begin() + ptrdiff_t( from ) );
                items_.insert( items_.begin() + ptrdiff_t( i ), std::move( name ) );
                save_();
            }
            ImGui::EndDragDropTarget();
        }
        ImGui::PopID();
    }
    ImGui::EndChild();
}

void Toolbar::drawAll_()
{
    UI::text( RibbonFontManager::FontType::SemiBold, "All tools" );
    ImGui::BeginChild( "##all", { 0, listHeight() }, true );
    for ( const auto& [caption, name] : captionsAndNames( toLower( trimmed( filter_ ) ) ) )
    {
        bool chosen = std::find( items_.begin(), items_.end(), name ) != items_.end();
        ImGui::PushID( name.c_str() );
        ImGui::BeginDisabled( !chosen && items_.size() >= cMaxItems );
        if ( UI::checkbox( caption.c_str(), &chosen ) )
            toggle_( name );
        ImGui::EndDisabled();
        ImGui::PopID();
    }
    ImGui::EndChild();
}

void Toolbar::drawCustomize()
{
    const float scale = UI::scale();
    if ( customizeRequested_ && UI::openModalInTurn( cCustomizeId ) )
    {
        customizeRequested_ = false;
        filter_.clear();
    }
    UI::centerNextWindow();
    ImGui::SetNextWindowSize( { std::min( 560 * scale, ImGui::GetIO().DisplaySize.x ), 0 } );
    customizeOpen_ = ImGui::BeginModalNoAnimation(
        cCustomizeId, nullptr, ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoSavedSettings );
    if ( !customizeOpen_ )
        return;
    if ( ImGui::IsWindowAppearing() )
        ImGui::SetKeyboardFocusHere();
    ImGui::SetNextItemWidth( -1 );
    UI::textField( "##filter", filter_, { .hint = "Find a tool" } );
    if ( ImGui::BeginTable( "##lists", 2, ImGuiTableFlags_SizingStretchSame ) )
    {
        ImGui::TableNextColumn();
        drawAll_();
        ImGui::TableNextColumn();
        drawChosen_();
        ImGui::EndTable();
    }
    if ( UI::dialogButton( "Reset" ) )
        resetToDefault();
    UI::setTooltipIfHovered( "Back to the tools that the program came with" );
    ImGui::SameLine( ImGui::GetWindowContentRegionMax().x - 96 * scale );
    if ( UI::primaryButton( "Close" ) || UI::keyPressed( ImGuiKey_Escape ) )
    {
        ImGui::CloseCurrentPopup();
        redraw();
    }
    ImGui::EndPopup();
}

} // namespace VX
