#pragma once

#include <VXViewer/draw/Camera.h>
#include <VXViewer/draw/DrawSettings.h>
#include <VXViewer/draw/GeometryCache.h>
#include <VXViewer/draw/Overlay.h>
#include <VXViewer/draw/SliceDrawing.h>

#include <vector>

namespace VX
{

/// Draws a scene tree into the bound framebuffer. The list of what to draw is made when the tree changes, not when it
/// is drawn. UI thread, with the context.
class SceneRenderer
{
public:
    /// Takes the visible objects of a tree over; uploads what is new and frees what is gone.
    void setScene( Object& root );

    void setOverlays( std::vector<Overlay> overlays ) { overlays_ = std::move( overlays ); }

    /// A coarse drawing has fewer triangles where a mesh has many, and no edges.
    void draw( const Camera& camera, const DrawSettings& settings, bool coarse = false );

    /// Draws the objects' numbers into a framebuffer of unsigned integers: 0 is nothing.
    void drawIds( const Camera& camera );
    [[nodiscard]] Object* pickable( size_t id ) const
    {
        if ( id > items_.size() && id <= items_.size() + slices_.items().size() )
            return slices_.items()[id - 1 - items_.size()].object;
        return id > 0 && id <= items_.size() ? items_[id - 1].object : nullptr;
    }

    [[nodiscard]] bool isEmpty() const { return items_.empty() && slices_.items().empty(); }
    [[nodiscard]] size_t triangleCount() const { return triangleCount_; }
    /// Diagonal of the smallest object's box, leaving out what has no size; 0 when nothing has one.
    [[nodiscard]] double smallestDiagonal() const { return smallestDiagonal_; }

private:
    struct Item
    {
        VisualObject* object = nullptr;
        GpuGeometry* gpu = nullptr;
        AffineXf3d xf;
    };

    void collect_( Object& object, const AffineXf3d& xf, std::vector<SliceDrawing::Item>& volumes );
    void noteSize_( const Box3d& box );
    void createPrograms_();
    void drawBackground_( const DrawSettings& settings );
    void addCoarse_();
    void drawSurfaces_( const Camera& camera, const DrawSettings& settings, bool transparent, bool coarse );
    void drawEdges_( const Camera& camera, const DrawSettings& settings );
    void drawPlain_( const Camera& camera, const DrawSettings& settings );
    void drawOverlays_( const Camera& camera );
    void drawShadedOverlays_( const Camera& camera );
    void beginSurfaces_( const Camera& camera );

    GeometryCache cache_;
    SliceDrawing slices_;
    std::vector<Item> items_;
    std::vector<Overlay> overlays_;
    size_t triangleCount_ = 0;
    double smallestDiagonal_ = 0;
    GlProgram surface_, plain_, background_, ids_;
    GlVertexArray empty_;
};

} // namespace VX
