#include <VXViewer/core/Viewer.h>
#include <VXViewer/draw/Camera.h>
#include <VXViewer/schema/RibbonSchema.h>
#include <VXViewer/tools/FunctionItem.h>
#include <VXViewer/tools/MeshPicking.h>
#include <VXViewer/tools/PrimitiveSelection.h>
#include <VXViewer/ui/ImGuiColor.h>
#include <VXViewer/ui/Widgets.h>

#include <fmt/format.h>

namespace VX
{
namespace
{

class SelectPrimitives final : public StatePlugin
{
public:
    SelectPrimitives()
        : StatePlugin( "Select Primitives" )
    {
    }

    [[nodiscard]] std::string_view isAvailable( const SelectedObjects& selected ) const override
    {
        return Requirements::anyObject( selected );
    }

    void drawDialog() override
    {
        const float scale = UI::scale();
        bool open = true;
        if ( UI::beginToolDialog( "Select primitives", &open, 290 ) )
        {
            UI::wrapped( themeVec4( ColorTheme::DimText ),
                "Click a face to mark it, with Ctrl to add or take out another. Delete takes marked faces away." );
            ImGui::Dummy( { 0, 2 * scale } );
            ImGui::SetNextItemWidth( 120 * scale );
            const char* names[] = { "Smooth faces", "Triangles" };
            int mode = int( mode_ );
            if ( UI::combo( "Mark", &mode, { names[0], names[1] } ) )
                mode_ = Mode( mode );
            const auto& marked = PrimitiveSelection::instance();
            ImGui::TextUnformatted( fmt::format( "{} triangle{}, area {:.6g}",
                UI::formatCount( marked.triangleCount() ), marked.triangleCount() == 1 ? "" : "s", marked.area() )
                    .c_str() );
        }
        ImGui::End();
        if ( !open )
            enable( false );
    }

private:
    enum class Mode
    {
        SmoothFaces,
        Triangles
    };

    bool onEnable_() override
    {
        clicks_ = getViewerInstance().signals().sceneClick.connect(
            ToolListeners, [this]( Vector2f position, bool add ) { return onClick_( position, add ); } );
        return true;
    }
    void onDisable_() override { clicks_.disconnect(); }

    bool onClick_( Vector2f position, bool add )
    {
        auto& viewer = getViewerInstance();
        Object* picked = viewer.pick( position );
        const auto object = picked ? std::dynamic_pointer_cast<ObjectMesh>( picked->shared_from_this() ) : nullptr;
        if ( !object )
        {
            if ( !add )
                PrimitiveSelection::instance().clear();
            return true;
        }
        const auto hit = intersectObject( *object, viewer.camera().ray( position ) );
        if ( !hit )
            return true;
        const auto triangles = mode_ == Mode::Triangles ? std::vector{ hit->triangle }
                                                        : findSmoothRegion( *object->mesh(), hit->triangle );
        PrimitiveSelection::instance().select( object, triangles, add );
        return true;
    }

    boost::signals2::scoped_connection clicks_;
    Mode mode_ = Mode::SmoothFaces;
};

const RibbonItemRegistrar<SelectPrimitives> cRegistrar;

} // namespace
} // namespace VX
