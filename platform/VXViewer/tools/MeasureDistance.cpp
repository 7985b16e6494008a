#include <VXViewer/core/Viewer.h>
#include <VXViewer/draw/Camera.h>
#include <VXViewer/loop/Wake.h>
#include <VXViewer/schema/RibbonSchema.h>
#include <VXViewer/tools/FunctionItem.h>
#include <VXViewer/tools/PointPicking.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/Widgets.h>

#include <fmt/format.h>

#include <vector>

namespace VX
{
namespace
{

class MeasureDistance final : public StatePlugin
{
public:
    MeasureDistance()
        : StatePlugin( "Measure distance" )
    {
    }

    [[nodiscard]] std::vector<ToolShortcut> shortcuts() const override
    {
        return { { { 'M', 0 }, ShortcutManager::Category::Objects } };
    }
    [[nodiscard]] std::string_view isAvailable( const SelectedObjects& selected ) const override
    {
        return Requirements::anyObject( selected );
    }

    void drawDialog() override
    {
        dropLostPoints_();
        bool open = true;
        if ( UI::beginToolDialog( "Measure distance", &open, 270 ) )
            drawResult_();
        ImGui::End();
        drawOverlay_();
        if ( !open )
            enable( false );
    }

private:
    struct Point
    {
        std::weak_ptr<Object> object;
        Vector3d place; ///< in the object's space
        [[nodiscard]] Vector3d world() const { return object.lock()->worldXf()( place ); }
    };

    /// Points go with their objects.
    void dropLostPoints_()
    {
        const auto root = getViewerInstance().sceneRoot().shared_from_this();
        const auto lost = std::erase_if( points_,
            [&]( const Point& point )
            {
                const Object* object = point.object.lock().get();
                while ( object && object->parent() )
                    object = object->parent();
                return object != root.get();
            } );
        // The dialog takes a frame to find its new height.
        if ( lost > 0 )
            redraw();
    }

    bool onEnable_() override
    {
        points_.clear();
        clicks_ = getViewerInstance().signals().sceneClick.connect(
            ToolListeners, [this]( Vector2f position, bool ) { return onClick_( position ); } );
        steps_ = getViewerInstance().signals().undo.connect( ToolListeners, [this] { return takeBack_(); } );
        return true;
    }
    void onDisable_() override
    {
        clicks_.disconnect();
        steps_.disconnect();
    }

    bool takeBack_()
    {
        dropLostPoints_();
        if ( points_.empty() )
            return false;
        points_.pop_back();
        return true;
    }

    bool onClick_( Vector2f position )
    {
        const auto picked = pickPoint( position );
        if ( !picked )
            return true;
        if ( points_.size() == 2 )
            points_.clear();
        const auto xf = picked->object->worldXf();
        points_.push_back( { picked->object, xf.A.inverse() * ( picked->place - xf.b ) } );
        return true;
    }

    void drawResult_() const
    {
        if ( points_.size() < 2 )
        {
            UI::wrapped( themeVec4( ColorTheme::DimText ),
                points_.empty() ? "Click the first point; corners are found near the pointer"
                                : "Click the second point" );
            return;
        }
        const Vector3d d = points_[1].world() - points_[0].world();
        UI::text( RibbonFontManager::FontType::BigSemiBold, fmt::format( "{:.6g}", d.length() ) );
        const auto row = []( const char* name, double value )
        {
            UI::colored( themeVec4( ColorTheme::DimText ), name );
            ImGui::SameLine();
            ImGui::TextUnformatted( fmt::format( "{:.6g}", value ).c_str() );
        };
        row( "X", d.x );
        row( "Y", d.y );
        row( "Z", d.z );
        UI::wrapped( themeVec4( ColorTheme::DimText ), "Lengths are in the units of the file" );
    }

    void drawOverlay_() const
    {
        const float scale = UI::scale();
        const auto& camera = getViewerInstance().camera();
        auto& list = *ImGui::GetBackgroundDrawList();
        const ImU32 accent = themeU32( ColorTheme::Accent );
        std::vector<ImVec2> at;
        for ( const auto& point : points_ )
        {
            const auto pixel = camera.project( point.world() );
            at.push_back( { pixel.x, pixel.y } );
        }
        if ( at.size() == 2 )
            list.AddLine( at[0], at[1], accent, 2 * scale );
        for ( const auto& place : at )
        {
            list.AddCircleFilled( place, 5 * scale, IM_COL32( 255, 255, 255, 255 ) );
            list.AddCircleFilled( place, 3.5f * scale, accent );
        }
        if ( at.size() != 2 )
            return;
        const auto text = fmt::format( "{:.6g}", ( points_[1].world() - points_[0].world() ).length() );
        const ImVec2 size = ImGui::CalcTextSize( text.c_str() );
        const ImVec2 middle{ ( at[0].x + at[1].x ) / 2, ( at[0].y + at[1].y ) / 2 };
        const ImVec2 low{ std::round( middle.x - size.x / 2 ), std::round( middle.y - size.y - 8 * scale ) };
        list.AddRectFilled( { low.x - 7 * scale, low.y - 3 * scale },
            { low.x + size.x + 7 * scale, low.y + size.y + 3 * scale }, themeU32( ColorTheme::DialogBackground ),
            5 * scale );
        list.AddText( low, themeU32( ColorTheme::Text ), text.c_str() );
    }

    boost::signals2::scoped_connection clicks_, steps_;
    std::vector<Point> points_;
};

const RibbonItemRegistrar<MeasureDistance> cRegistrar;

} // namespace
} // namespace VX
