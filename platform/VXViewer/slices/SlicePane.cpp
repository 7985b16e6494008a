#include <VXViewer/slices/SlicePane.h>

#include <VXViewer/draw/SliceDrawing.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/Scale.h>

#include <fmt/format.h>

#include <cmath>

namespace VX
{
namespace
{

ImVec2 onScreen( Vector2f place )
{
    return { place.x, place.y };
}

Vector2f spaceOf( const std::array<double, 2>& extent )
{
    return { float( extent[0] ), float( extent[1] ) };
}

/// A drag over a whole pane goes through four windows.
void changeWindow( ObjectVolume& object, ImVec2 drag, float scale )
{
    constexpr double cWindowsAPixel = 1. / 200;
    auto window = object.volume()->meaning().window;
    const double step = std::max( window.width, 1e-12 ) * cWindowsAPixel / double( scale );
    window.width = std::max( window.width + double( drag.x ) * step, 1e-9 );
    window.center -= double( drag.y ) * step;
    object.setWindow( window );
}

int stepsOfKeys()
{
    const auto pressed = []( ImGuiKey key ) { return int( ImGui::IsKeyPressed( ImGui::GetKeyIndex( key ) ) ); };
    return pressed( ImGuiKey_UpArrow ) - pressed( ImGuiKey_DownArrow ) +
           10 * ( pressed( ImGuiKey_PageUp ) - pressed( ImGuiKey_PageDown ) );
}

} // namespace

const char* nameOf( SliceDirection direction )
{
    switch ( direction )
    {
    case SliceDirection::Axial:
        return "Axial";
    case SliceDirection::Coronal:
        return "Coronal";
    case SliceDirection::Sagittal:
        break;
    }
    return "Sagittal";
}

void SlicePane::draw( ObjectVolume& object, Vector2f size )
{
    const auto& grid = object.volume()->grid();
    slice_ = OrientedSlice::of( grid, direction_ );
    layout_.set( grid.size[slice_.right], grid.size[slice_.down], spaceOf( slice_.extent( grid ) ), size );
    const ImVec2 at = ImGui::GetCursorScreenPos();
    const Vector2f corner{ at.x, at.y };
    ImGui::InvisibleButton( nameOf( direction_ ), { size.x, size.y },
        ImGuiButtonFlags_MouseButtonLeft | ImGuiButtonFlags_MouseButtonRight | ImGuiButtonFlags_MouseButtonMiddle );
    listen_( object, corner );
    drawPicture_( object, corner, size );
    drawCursor_( object, corner, size );
    drawTitle_( object, corner );
}

void SlicePane::step_( ObjectVolume& object, int steps ) const
{
    auto voxel = object.cursor();
    voxel[slice_.across] += steps;
    object.setCursor( voxel );
}

void SlicePane::listen_( ObjectVolume& object, Vector2f corner )
{
    const auto& io = ImGui::GetIO();
    const Vector2f place{ io.MousePos.x - corner.x, io.MousePos.y - corner.y };
    const auto& grid = object.volume()->grid();
    const auto under = [&]
    {
        const auto at = layout_.toSlice( place );
        return slice_.voxelAt( grid, at[0], at[1], object.cursor() );
    };
    hovered_ = {};
    doubleClicked_ = false;
    // Not IsItemHovered: while keys are used Dear ImGui takes no item for hovered.
    if ( ImGui::IsWindowHovered( ImGuiHoveredFlags_AllowWhenBlockedByActiveItem ) &&
         ImGui::IsMouseHoveringRect( ImGui::GetItemRectMin(), ImGui::GetItemRectMax() ) )
    {
        if ( layout_.contains( place ) )
            hovered_ = under();
        doubleClicked_ = ImGui::IsMouseDoubleClicked( ImGuiMouseButton_Left );
        if ( io.MouseWheel != 0 && io.KeyCtrl )
            layout_.zoom( io.MouseWheel, place );
        else if ( io.MouseWheel != 0 )
            step_( object, int( std::copysign( std::max( std::abs( io.MouseWheel ), 1.f ), io.MouseWheel ) ) );
        if ( const int steps = stepsOfKeys() )
            step_( object, steps );
    }
    if ( !ImGui::IsItemActive() )
        return;
    if ( ImGui::IsMouseDown( ImGuiMouseButton_Left ) )
        object.setCursor( under() );
    else if ( ImGui::IsMouseDown( ImGuiMouseButton_Right ) )
        changeWindow( object, io.MouseDelta, UI::scale() );
    else
        layout_.move( { io.MouseDelta.x, io.MouseDelta.y } );
}

void SlicePane::drawPicture_( const ObjectVolume& object, Vector2f corner, Vector2f size )
{
    auto& list = *ImGui::GetWindowDrawList();
    list.AddRectFilled( onScreen( corner ), onScreen( corner + size ), IM_COL32( 0, 0, 0, 255 ) );
    const GLuint texture = picture_.get( object.volume(), direction_, object.cursor()[slice_.across] );
    list.PushClipRect( onScreen( corner ), onScreen( corner + size ), true );
    list.AddImage(
        ImTextureID( intptr_t( texture ) ), onScreen( corner + layout_.low() ), onScreen( corner + layout_.high() ) );
    list.PopClipRect();
}

void SlicePane::drawCursor_( const ObjectVolume& object, Vector2f corner, Vector2f size ) const
{
    auto& list = *ImGui::GetWindowDrawList();
    const Vector2f at = layout_.toScreen( slice_.pixelOf( object.volume()->grid(), object.cursor() ) );
    const float width = std::max( std::round( UI::scale() ), 1.f );
    // Each line is where another pane's slice is.
    const auto colorAcross = [&]( size_t axis )
    {
        for ( const auto other : cSliceDirections )
            if ( OrientedSlice::of( object.volume()->grid(), other ).across == axis )
                return ( toImU32( colorOf( other ) ) & ~IM_COL32_A_MASK ) | IM_COL32( 0, 0, 0, 170 );
        return IM_COL32_WHITE;
    };
    const float x = std::round( corner.x + at.x ), y = std::round( corner.y + at.y );
    if ( at.x >= 0 && at.x < size.x )
        list.AddLine( { x, corner.y }, { x, corner.y + size.y }, colorAcross( slice_.right ), width );
    if ( at.y >= 0 && at.y < size.y )
        list.AddLine( { corner.x, y }, { corner.x + size.x, y }, colorAcross( slice_.down ), width );
    list.AddRect( onScreen( corner ), onScreen( corner + size ), toImU32( colorOf( direction_ ) ), 0, 0, width );
}

void SlicePane::drawTitle_( const ObjectVolume& object, Vector2f corner ) const
{
    const FontScope small( RibbonFontManager::FontType::Small );
    const auto text = fmt::format( "{}  {} / {}", nameOf( direction_ ), object.cursor()[slice_.across] + 1,
        object.volume()->size()[slice_.across] );
    const float gap = 6 * UI::scale();
    auto& list = *ImGui::GetWindowDrawList();
    const ImVec2 at{ corner.x + gap, corner.y + gap * 0.7f };
    // Readable over white bone, too.
    list.AddText( { at.x + 1, at.y + 1 }, IM_COL32( 0, 0, 0, 220 ), text.c_str() );
    list.AddText( at, IM_COL32( 255, 255, 255, 230 ), text.c_str() );
}

} // namespace VX
