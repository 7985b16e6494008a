#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/core/Viewer.h>
#include <VXViewer/draw/Camera.h>
#include <VXViewer/menu/RibbonSchema.h>
#include <VXViewer/tools/MeshPicking.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/ImGuiHelpers.h>
#include <VXViewer/ui/Widgets.h>

#include <fmt/format.h>

#include <optional>

namespace VX
{
namespace
{

constexpr float cSnapPixels = 10;

const std::vector<Vector3f>* pointsOf( const Object& object )
{
    if ( const auto* mesh = dynamic_cast<const ObjectMesh*>( &object ); mesh && mesh->mesh() )
        return &mesh->mesh()->points;
    if ( const auto* cloud = dynamic_cast<const ObjectPoints*>( &object ); cloud && cloud->points() )
        return &cloud->points()->points;
    const auto* lines = dynamic_cast<const ObjectLines*>( &object );
    return lines && lines->lines() ? &lines->lines()->points : nullptr;
}

/// Where the ray meets an object's surface, in world space.
std::optional<Vector3f> surfacePoint( const Object& object, const Ray& ray )
{
    const auto* mesh = dynamic_cast<const ObjectMesh*>( &object );
    const auto hit = mesh ? intersectObject( *mesh, ray ) : std::nullopt;
    if ( !hit )
        return {};
    return mesh->worldXf()( hit->point );
}

/// The object's own point nearest to a pixel, when it is near and not behind the surface that was hit.
std::optional<Vector3f> snapPoint( const Object& object, Vector2f pixel, const std::optional<Vector3f>& surface )
{
    const auto* points = pointsOf( object );
    if ( !points )
        return {};
    const auto& camera = getViewerInstance().camera();
    const auto xf = object.worldXf();
    const auto view = camera.view();
    const float deepest = surface ? view( *surface ).z : -1e30f;
    const float slack = object.treeBox().diagonal() * 0.01f;
    std::optional<Vector3f> out;
    float best = cSnapPixels * getViewerInstance().scale();
    for ( const auto& own : *points )
    {
        const Vector3f point = xf( own );
        const float distance = ( camera.project( point ) - pixel ).length();
        if ( distance < best && view( point ).z >= deepest - slack )
        {
            best = distance;
            out = point;
        }
    }
    return out;
}

class MeasureDistance final : public StatePlugin
{
public:
    MeasureDistance()
        : StatePlugin( "Measure distance" )
    {
    }

    [[nodiscard]] std::string_view isAvailable( const SelectedObjects& ) const override
    {
        return getViewerInstance().sceneRoot().children().empty() ? "Open a file first" : "";
    }

    void drawDialog( float scale ) override
    {
        dropLostPoints_();
        bool open = true;
        if ( UI::beginToolDialog( "Measure distance", &open, 270, scale ) )
            drawResult_();
        ImGui::End();
        drawOverlay_( scale );
        if ( !open )
            enable( false );
    }

private:
    struct Point
    {
        std::weak_ptr<Object> object;
        Vector3f place; ///< in the object's space
        [[nodiscard]] Vector3f world() const { return object.lock()->worldXf()( place ); }
    };

    /// Points go with their objects.
    void dropLostPoints_()
    {
        const auto root = getViewerInstance().sceneRoot().shared_from_this();
        std::erase_if( points_,
            [&]( const Point& point )
            {
                const Object* object = point.object.lock().get();
                while ( object && object->parent() )
                    object = object->parent();
                return object != root.get();
            } );
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
        auto& viewer = getViewerInstance();
        Object* object = viewer.pick( position );
        if ( !object )
            return true;
        const auto surface = surfacePoint( *object, viewer.camera().ray( position ) );
        const auto snapped = snapPoint( *object, position, surface );
        if ( !snapped && !surface )
            return true;
        if ( points_.size() == 2 )
            points_.clear();
        const auto xf = object->worldXf();
        points_.push_back(
            { object->shared_from_this(), xf.A.inverse() * ( ( snapped ? *snapped : *surface ) - xf.b ) } );
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
        const Vector3f d = points_[1].world() - points_[0].world();
        UI::text( RibbonFontManager::FontType::BigSemiBold, fmt::format( "{:.6g}", d.length() ) );
        const auto row = []( const char* name, float value )
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

    void drawOverlay_( float scale ) const
    {
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
