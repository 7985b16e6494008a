#include <VXViewer/menu/SceneList.h>

#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/ui/Theme.h>
#include <VXViewer/ui/Widgets.h>

#include <fmt/format.h>
#include <imgui.h>

#include <algorithm>

namespace VX
{
namespace
{

std::string grouped( size_t number )
{
    const auto digits = std::to_string( number );
    std::string out;
    for ( size_t i = 0; i < digits.size(); ++i )
    {
        if ( i > 0 && ( digits.size() - i ) % 3 == 0 )
            out += ' ';
        out += digits[i];
    }
    return out;
}

size_t trianglesOf( const Object& object )
{
    const auto* mesh = dynamic_cast<const ObjectMesh*>( &object );
    return mesh && mesh->mesh() ? mesh->mesh()->triangles.size() : 0;
}

bool iconButton( const char* icon, const ImVec4& color )
{
    ImGui::PushStyleColor( ImGuiCol_Button, ImVec4{} );
    ImGui::PushStyleColor( ImGuiCol_Text, color );
    ImGui::PushStyleVar( ImGuiStyleVar_FramePadding, ImVec2{} );
    const bool pressed = ImGui::SmallButton( icon );
    ImGui::PopStyleVar();
    ImGui::PopStyleColor( 2 );
    return pressed;
}

} // namespace

void SceneList::collect_( Object& object, int depth )
{
    rows_.push_back( { &object, depth } );
    if ( folded_.contains( &object ) )
        return;
    for ( const auto& child : object.children() )
        collect_( *child, depth + 1 );
}

void SceneList::updateRows_( Object& root )
{
    if ( revision_ == root.revision() )
        return;
    revision_ = root.revision();
    rows_.clear();
    objects_ = 0;
    triangles_ = 0;
    for ( const auto& child : root.children() )
        collect_( *child, 0 );
    forEachObject( root,
        [&]( const Object& object )
        {
            objects_ += dynamic_cast<const VisualObject*>( &object ) != nullptr;
            triangles_ += trianglesOf( object );
        } );
}

void SceneList::select( Object& root, Object* object, bool add )
{
    if ( add && object )
        object->select( !object->isSelected() );
    else
        forEachObject( root, [&]( Object& other ) { other.select( &other == object ); } );
    scrollTo_ = object;
}

void SceneList::drawRow_( Object& root, const Row& row, float scale )
{
    Object& object = *row.object;
    ImGui::PushID( &object );
    const float eyeX = ImGui::GetWindowContentRegionMax().x - 24 * scale;
    ImGui::SetCursorPosX( ImGui::GetCursorPosX() + ( 4 + float( std::min( row.depth, 12 ) ) * 14 ) * scale );
    if ( object.children().empty() )
        ImGui::Dummy( { ImGui::GetFontSize() * 1.2f, 0 } );
    else if ( iconButton( folded_.contains( &object ) ? "\xef\x83\x9a" : "\xef\x83\x97", Theme::cDimText ) )
    {
        if ( !folded_.erase( &object ) )
            folded_.insert( &object );
        revision_ = 0;
    }
    ImGui::SameLine( 0, 4 * scale );
    const ImVec2 size{ eyeX - ImGui::GetCursorPosX() - 4 * scale, 0 };
    const bool dim = !object.isVisible();
    if ( dim )
        ImGui::PushStyleColor( ImGuiCol_Text, Theme::cDimText );
    const bool group = !dynamic_cast<const VisualObject*>( &object );
    const auto label = fmt::format( "{}  {}", group ? Icons::cCubes : Icons::cCube, object.name() );
    if ( ImGui::Selectable( label.c_str(), object.isSelected(), ImGuiSelectableFlags_AllowDoubleClick, size ) )
    {
        select( root, &object, ImGui::GetIO().KeyCtrl );
        scrollTo_ = nullptr;
        if ( ImGui::IsMouseDoubleClicked( ImGuiMouseButton_Left ) )
            getViewerInstance().fitBox( object.treeBox( true ) );
    }
    if ( dim )
        ImGui::PopStyleColor();
    if ( ImGui::IsItemHovered() && ImGui::CalcTextSize( label.c_str() ).x > size.x )
        ImGui::SetTooltip( "%s", object.name().c_str() );
    ImGui::SameLine( eyeX );
    if ( iconButton( object.isVisible() ? Icons::cEye : Icons::cEyeSlash, Theme::cDimText ) )
        object.setVisible( !object.isVisible() );
    if ( ImGui::IsItemHovered() )
        ImGui::SetTooltip( "%s", object.isVisible() ? "Hide" : "Show" );
    ImGui::PopID();
}

void SceneList::drawFooter_( float scale )
{
    ImGui::Dummy( { 0, 1 * scale } );
    ImGui::TextColored( Theme::cDimText, "%s",
        fmt::format( "{} object{}, {} triangles", grouped( objects_ ), objects_ == 1 ? "" : "s", grouped( triangles_ ) )
            .c_str() );
}

void SceneList::draw( Object& root, float scale )
{
    updateRows_( root );
    const float top = ImGui::GetFrameHeight();
    ImGui::SetNextWindowPos( { 0, top } );
    ImGui::SetNextWindowSize( { width( scale ), ImGui::GetIO().DisplaySize.y - top } );
    ImGui::PushStyleVar( ImGuiStyleVar_WindowRounding, 0 );
    ImGui::PushStyleVar( ImGuiStyleVar_WindowBorderSize, 0 );
    ImGui::Begin( "##sceneList", nullptr,
        ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove |
            ImGuiWindowFlags_NoBringToFrontOnFocus | ImGuiWindowFlags_NoScrollbar |
            ImGuiWindowFlags_NoScrollWithMouse );
    UI::text( Fonts::Face::SemiBold, "Scene" );
    const float footer = ImGui::GetTextLineHeightWithSpacing() + 6 * scale;
    ImGui::BeginChild( "##rows", { 0, -footer } );
    ImGui::Dummy( { 0, 1 * scale } );
    if ( rows_.empty() )
        ImGui::TextColored( Theme::cDimText, "Nothing is open" );
    ImGuiListClipper clipper;
    clipper.Begin( int( rows_.size() ), ImGui::GetTextLineHeightWithSpacing() );
    if ( const auto it =
             std::find_if( rows_.begin(), rows_.end(), [this]( const Row& r ) { return r.object == scrollTo_; } );
        scrollTo_ && it != rows_.end() )
        ImGui::SetScrollY( std::max(
            0.f, float( it - rows_.begin() ) * ImGui::GetTextLineHeightWithSpacing() - ImGui::GetWindowHeight() / 2 ) );
    scrollTo_ = nullptr;
    while ( clipper.Step() )
        for ( int i = clipper.DisplayStart; i < std::min( clipper.DisplayEnd, int( rows_.size() ) ); ++i )
            drawRow_( root, rows_[size_t( i )], scale );
    ImGui::EndChild();
    drawFooter_( scale );
    ImGui::End();
    ImGui::PopStyleVar( 2 );
}

} // namespace VX
