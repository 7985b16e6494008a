#pragma once

#include <VXMesh/scene/ObjectVolume.h>
#include <VXViewer/draw/Camera.h>
#include <VXViewer/draw/DrawSettings.h>
#include <VXViewer/draw/SlicePicture.h>

#include <array>
#include <map>

namespace VX
{

inline constexpr std::array cSliceDirections{
    SliceDirection::Axial, SliceDirection::Coronal, SliceDirection::Sagittal };

/// Of the frames around slices and of the lines in their place in others: the colour of the axis that it is across of.
[[nodiscard]] Color colorOf( SliceDirection direction );

/// Draws the volumes of a scene as slices through their cursors. UI thread, with the context.
class SliceDrawing
{
public:
    struct Item
    {
        ObjectVolume* object = nullptr;
        AffineXf3d xf; ///< from the object's space to the world's
    };

    /// Draws these from now on. Pictures of objects that are drawn no longer go.
    void setItems( std::vector<Item> items );
    [[nodiscard]] const std::vector<Item>& items() const { return items_; }

    void drawPictures( const Camera& camera );
    void drawFrames( const Camera& camera, const DrawSettings& settings );
    /// The first volume has this number, the others the next ones.
    void drawIds( const Camera& camera, GLuint first );

private:
    template <typename Draw>
    void forEachSlice_( const GlProgram& program, const Camera& camera, const Draw& draw );

    std::vector<Item> items_;
    std::map<const ObjectVolume*, std::array<SlicePicture, 3>> pictures_;
    GlProgram textured_, plain_, ids_;
    GlVertexArray empty_;
};

} // namespace VX
