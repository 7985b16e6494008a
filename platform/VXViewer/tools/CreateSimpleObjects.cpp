#include <VXMesh/scene/SimpleShapes.h>
#include <VXMesh/scene/VisualObjects.h>
#include <VXViewer/core/CurrentView.h>
#include <VXViewer/scene/SceneEdits.h>
#include <VXViewer/scene/SceneRoot.h>
#include <VXViewer/schema/RibbonSchema.h>
#include <VXViewer/tools/ShapeLooks.h>
#include <VXViewer/ui/Widgets.h>
#include <VXViewer/window/Window.h>

#include <imgui.h>

namespace VX
{
namespace
{

/// In the order of `cShapeLooks`.
enum class Shape
{
    Cube,
    Cylinder,
    Sphere,
    Prism,
    Torus,
    Arrow
};

struct Parameters
{
    Vector3f sides{ 1, 1, 1 };
    float radius = 0.5f;
    float length = 1;
    float tubeRadius = 0.2f;
    float headRadius = 0.15f;
    float shaftRadius = 0.07f;
    int corners = 6;
    int segments = 64;
    bool operator==( const Parameters& ) const = default;
};

Mesh make( Shape shape, const Parameters& p )
{
    switch ( shape )
    {
    case Shape::Cube:
        return SimpleShapes::makeCuboid( p.sides );
    case Shape::Cylinder:
        return SimpleShapes::makeCylinder( p.radius, p.length, p.segments );
    case Shape::Sphere:
        return SimpleShapes::makeSphere( p.radius, p.segments );
    case Shape::Prism:
        return SimpleShapes::makePrism( p.corners, p.radius, p.length );
    case Shape::Torus:
        return SimpleShapes::makeTorus( p.radius, std::min( p.tubeRadius, p.radius ), p.segments );
    case Shape::Arrow:
        break;
    }
    return SimpleShapes::makeArrow( p.length, p.shaftRadius, std::max( p.headRadius, p.shaftRadius ), p.segments );
}

void length( const char* label, float* value )
{
    UI::drag( label, value, *value * 0.01f + 0.001f, 0.001f, 1e6f, "%.3f" );
}

class CreateSimpleObjects final : public StatePlugin
{
public:
    CreateSimpleObjects()
        : StatePlugin( "Create Simple Objects" )
    {
    }

    [[nodiscard]] std::vector<ToolShortcut> shortcuts() const override
    {
        return { { { 'N', ControlModifier | ShiftModifier }, ShortcutManager::Category::Objects } };
    }
    [[nodiscard]] bool blocking() const override { return true; }

    void drawDialog() override
    {
        const float scale = UI::scale();
        bool open = true;
        if ( UI::beginToolDialog( "Create simple objects", &open, 300 ) )
        {
            drawShapes_();
            ImGui::PushItemWidth( 150 * scale );
            drawParameters_();
            ImGui::PopItemWidth();
            ImGui::Dummy( { 0, 4 * scale } );
            if ( UI::button(
                     "Create", { ImGui::GetContentRegionAvail().x, 0 }, { .enterKey = !ImGui::IsAnyItemActive() } ) )
                create_();
        }
        ImGui::End();
        if ( !open )
            enable( false );
        else if ( isActive() )
            updatePreview_();
    }

private:
    void drawShapes_()
    {
        const float scale = UI::scale();
        const float gap = ImGui::GetStyle().ItemSpacing.x;
        const float width = ( ImGui::GetContentRegionAvail().x - 2 * gap ) / 3;
        for ( size_t i = 0; i < cShapeLooks.size(); ++i )
        {
            if ( UI::buttonIconEx( cShapeLooks[i].icon, { 22 * scale, 22 * scale }, cShapeLooks[i].name,
                     { width, 56 * scale }, true, size_t( shape_ ) == i ) )
                shape_ = Shape( i );
            if ( i % 3 != 2 )
                ImGui::SameLine();
        }
    }

    void drawParameters_()
    {
        if ( shape_ == Shape::Cube )
        {
            length( "Width (X)", &parameters_.sides.x );
            length( "Depth (Y)", &parameters_.sides.y );
            length( "Height (Z)", &parameters_.sides.z );
            return;
        }
        if ( shape_ != Shape::Arrow )
            length( "Radius", &parameters_.radius );
        if ( shape_ == Shape::Cylinder || shape_ == Shape::Prism || shape_ == Shape::Arrow )
            length( "Length", &parameters_.length );
        if ( shape_ == Shape::Torus )
            length( "Tube radius", &parameters_.tubeRadius );
        if ( shape_ == Shape::Arrow )
        {
            length( "Shaft radius", &parameters_.shaftRadius );
            length( "Head radius", &parameters_.headRadius );
        }
        if ( shape_ == Shape::Prism )
            UI::drag( "Corners", &parameters_.corners, 0.1f, 3, 64 );
        else
            UI::drag( "Segments", &parameters_.segments, 0.5f, 8, 512 );
    }

    /// The preview is made anew only when what it shows has changed.
    void updatePreview_()
    {
        if ( preview_ && previewed_ == parameters_ && previewedShape_ == shape_ )
            return;
        preview_ = std::make_shared<Mesh>( make( shape_, parameters_ ) );
        previewed_ = parameters_;
        previewedShape_ = shape_;
        setViewOverlays( name(), { { preview_, {}, VisualObject::cDefaultColor, true } } );
        if ( sceneRoot().children().empty() )
            fitViewToBox( preview_->box() );
    }

    void create_()
    {
        auto object = std::make_shared<ObjectMesh>();
        object->setName( cShapeLooks[size_t( shape_ )].name );
        object->setMesh( std::make_shared<Mesh>( make( shape_, parameters_ ) ) );
        SceneEdits::add( std::string( "Create " ) + cShapeLooks[size_t( shape_ )].name, { object } );
        fitViewToScene();
        enable( false );
    }

    void onDisable_() override
    {
        preview_ = nullptr;
        setViewOverlays( name(), {} );
    }

    Shape shape_ = Shape::Cube;
    Parameters parameters_;
    std::shared_ptr<const Mesh> preview_;
    Parameters previewed_;
    Shape previewedShape_ = Shape::Cube;
};

const RibbonItemRegistrar<CreateSimpleObjects> cRegistrar;

} // namespace
} // namespace VX
