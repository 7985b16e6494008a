#include <VXViewer/ribbon/SceneObjectsListDrawer.h>

#include <VXMesh/io/Text.h>
#include <VXMesh/scene/ObjectVolume.h>
#include <VXViewer/core/CurrentView.h>
#include <VXViewer/loop/Wake.h>
#include <VXViewer/ribbon/RibbonItemButton.h>
#include <VXViewer/scene/SceneEdits.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/Keyboard.h>
#include <VXViewer/ui/StyleScope.h>
#include <VXViewer/ui/TextField.h>
#include <VXViewer/ui/Widgets.h>

#include <imgui.h>

#include <algorithm>

namespace VX
{
namespace
{

constexpr float cRowHeight = 24;

size_t trianglesOf( const Object& object )
{
    const auto* mesh = dynamic_cast<const ObjectMesh*>( &object );
    return mesh && mesh->mesh() ? mesh->mesh()->triangles.size() : 0;
}

const char* iconOf( const Object& object )
{
    if ( dynamic_cast<const ObjectMesh*>( &object ) )
        return "object_mesh";
    if ( dynamic_cast<const ObjectPoints*>( &object ) )
        return "object_points";
    if ( dynamic_cast<const ObjectVolume*>( &object ) )
        return "object_volume";
    return dynamic_cast<const ObjectLines*>( &object ) ? "object_lines" : "group";
}

} // namespace

void SceneObjectsListDrawer::drawRowExtras_( Object& ) {}

void SceneObjectsListDrawer::drawEmptyExtras_( Object& ) {}

void SceneObjectsListDrawer::collect_( Object& object, int depth )
{
    rows_.push_back( { &object, depth } );
    if ( folded_.contains( &object ) )
        return;
    for ( const auto& child : object.children() )
        collect_( *child, depth + 1 );
}

void SceneObjectsListDrawer::updateRows_( Object& root )
{
    if ( revision_ == root.revision() && root_ == &root )
        return;
    revision_ = root.revision();
    root_ = &root;
    rows_.clear();
    objects_ = 0;
    triangles_ = 0;
    for ( const auto& child : root.children() )
        collect_( *child, 0 );
    bool renamedIsThere = false;
    forEachObject( root,
        [&]( const Object& object )
        {
            objects_ += dynamic_cast<const VisualObject*>( &object ) != nullptr;
            triangles_ += trianglesOf( object );
            renamedIsThere |= &object == renamed_;
        } );
    if ( !renamedIsThere )
        renamed_ = nullptr;
}

void SceneObjectsListDrawer::select( Object& root, Object* object, bool add )
{
    if ( add && object )
        object->select( !object->isSelected() );
    else
        forEachObject( root, [&]( Object& other ) { other.select( &other == object ); } );
    scrollTo_ = lastSelected_ = object;
}

void SceneObjectsListDrawer::selectRange( Object& root, Object* object )
{
    updateRows_( root );
    const auto find = [this]( const Object* wanted )
    { return std::find_if( rows_.begin(), rows_.end(), [&]( const Row& row ) { return row.object == wanted; } ); };
    auto first = find( lastSelected_ ), last = find( object );
    if ( first == rows_.end() || last == rows_.end() )
        return select( root, object, false );
    if ( last < first )
        std::swap( first, last );
    std::unordered_set<const Object*> wanted;
    for ( auto it = first; it <= last; ++it )
        wanted.insert( it->object );
    forEachObject( root, [&]( Object& other ) { other.select( wanted.contains( &other ) ); } );
}

void SceneObjectsListDrawer::startRename( Object& object )
{
    renamed_ = &object;
    newName_ = object.name();
    focusName_ = true;
    scrollTo_ = &object;
}

void SceneObjectsListDrawer::drawFold_( Object& object )
{
    const float scale = UI::scale();
    if ( object.children().empty() )
        ImGui::Dummy( { 14 * scale, 0 } );
    else if ( UI::glyphButton( folded_.contains( &object ) ? Icons::cCaretRight : Icons::cCaretDown, "fold",
                  themeVec4( ColorTheme::DimText ) ) )
    {
        if ( !folded_.erase( &object ) )
            folded_.insert( &object );
        revision_ = 0;
    }
    ImGui::SameLine( 0, 2 * scale );
}

void SceneObjectsListDrawer::drawRename_( Object& object, float width )
{
    ImGui::SetNextItemWidth( width );
    const StyleScope style( { { ImGuiStyleVar_FramePadding, { ImGui::GetStyle().FramePadding.x * 0.4f, 0 } } } );
    const bool appearing = std::exchange( focusName_, false );
    if ( appearing )
        ImGui::SetKeyboardFocusHere();
    const auto field = UI::textField( "##rename", newName_, { .selectAll = true } );
    const bool escaped = !field.menuOpen && UI::keyPressed( ImGuiKey_Escape );
    if ( !field.left && !escaped )
        return;
    renamed_ = nullptr;
    redraw();
    if ( !escaped )
        SceneEdits::rename( object.shared_from_this(), trimmed( newName_ ) );
}

void SceneObjectsListDrawer::drawName_( Object& root, Object& object, float width )
{
    const float scale = UI::scale();
    const float icon = 16 * scale, height = ImGui::GetTextLineHeight();
    const ImVec2 low = ImGui::GetCursorScreenPos();
    const bool visible = object.isGloballyVisible();
    if ( ImGui::Selectable( "##row", object.isSelected(), ImGuiSelectableFlags_AllowDoubleClick, { width, height } ) )
    {
        if ( ImGui::GetIO().KeyShift )
            selectRange( root, &object );
        else
            select( root, &object, ImGui::GetIO().KeyCtrl );
        scrollTo_ = nullptr;
        if ( ImGui::IsMouseDoubleClicked( ImGuiMouseButton_Left ) )
            fitViewToBox( object.treeBox( true ) );
    }
    const float room = width - icon - 10 * scale;
    const auto shown = UI::fitted( object.name(), room );
    if ( shown.size() != object.name().size() )
        UI::setTooltipIfHovered( object.name() );
    auto& list = *ImGui::GetWindowDrawList();
    RibbonItemButton::drawIcon(
        list, iconOf( object ), { low.x + 2 * scale, low.y + ( height - icon ) / 2 }, icon, visible );
    list.AddText( { low.x + icon + 8 * scale, low.y }, themeU32( visible ? ColorTheme::Text : ColorTheme::DimText ),
        shown.c_str() );
}

void SceneObjectsListDrawer::drawEye_( Object& object, float x )
{
    ImGui::SameLine( x );
    if ( UI::glyphButton(
             object.isVisible() ? Icons::cEye : Icons::cEyeSlash, "eye", themeVec4( ColorTheme::DimText ) ) )
        SceneEdits::setVisible(
            object.isVisible() ? "Hide object" : "Show object", { object.shared_from_this() }, !object.isVisible() );
    if ( ImGui::IsItemHovered() )
        ImGui::SetTooltip( "%s", object.isVisible() ? "Hide" : "Show" );
}

void SceneObjectsListDrawer::drawRow_( Object& root, const Row& row )
{
    const float scale = UI::scale();
    Object& object = *row.object;
    ImGui::PushID( &object );
    const float eyeX = ImGui::GetWindowContentRegionMax().x - 22 * scale;
    ImGui::SetCursorPosX( ImGui::GetCursorPosX() + float( std::min( row.depth, 12 ) ) * 14 * scale );
    drawFold_( object );
    const float width = std::max( eyeX - ImGui::GetCursorPosX() - 4 * scale, 20 * scale );
    if ( renamed_ == &object )
        drawRename_( object, width );
    else
    {
        drawName_( root, object, width );
        drawRowExtras_( object );
    }
    drawEye_( object, eyeX );
    ImGui::PopID();
}

void SceneObjectsListDrawer::drawRows_( Object& root )
{
    const float height = cRowHeight * UI::scale();
    ImGuiListClipper clipper;
    clipper.Begin( int( rows_.size() ), height );
    if ( scrollTo_ )
    {
        const auto it =
            std::find_if( rows_.begin(), rows_.end(), [this]( const Row& r ) { return r.object == scrollTo_; } );
        const float y = float( it - rows_.begin() ) * height;
        const bool inSight = y >= ImGui::GetScrollY() && y + height <= ImGui::GetScrollY() + ImGui::GetWindowHeight();
        if ( it != rows_.end() && !inSight )
            ImGui::SetScrollY( std::max( 0.f, y - ImGui::GetWindowHeight() / 2 ) );
        scrollTo_ = nullptr;
    }
    while ( clipper.Step() )
        for ( int i = clipper.DisplayStart; i < std::min( clipper.DisplayEnd, int( rows_.size() ) ); ++i )
            drawRow_( root, rows_[size_t( i )] );
}

void SceneObjectsListDrawer::draw( Object& root, float bottom )
{
    const float scale = UI::scale();
    updateRows_( root );
    const StyleScope spacing(
        { { ImGuiStyleVar_ItemSpacing, { 6 * scale, cRowHeight * scale - ImGui::GetTextLineHeight() } } } );
    {
        const StyleScope style( { { ImGuiStyleVar_WindowPadding, { 4 * scale, 4 * scale } } } );
        ImGui::BeginChild( "##rows", { 0, -bottom }, false, ImGuiWindowFlags_AlwaysUseWindowPadding );
    }
    if ( rows_.empty() )
    {
        ImGui::SetCursorPosX( 8 * scale );
        UI::colored( themeVec4( ColorTheme::DimText ), "Nothing is open" );
    }
    drawRows_( root );
    drawEmptyExtras_( root );
    ImGui::EndChild();
}

} // namespace VX
