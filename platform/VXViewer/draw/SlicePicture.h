#pragma once

#include <VXMesh/volume/OrientedSlice.h>
#include <VXViewer/gl/GlObjects.h>

#include <memory>

namespace VX
{

/// A slice of a volume as a texture of greys, made anew only when what it shows has changed. UI thread, with the
/// context.
class SlicePicture
{
public:
    /// The texture; 0 when there are no voxels.
    GLuint get( const std::shared_ptr<const Volume>& volume, SliceDirection direction, int index );
    /// Where the picture lies in the space of the volume.
    [[nodiscard]] const SlicePlane& plane() const { return plane_; }

private:
    void sample_( const Volume& volume, SliceDirection direction, int index );
    void upload_( const VolumeWindow& window );

    /// Not the volume alone: another one may come to its place in memory.
    std::weak_ptr<const Volume> volume_;
    SliceDirection direction_ = SliceDirection::Axial;
    int index_ = -1;
    SlicePlane plane_;
    std::vector<float> values_;
    GlTexture texture_;
    int width_ = 0, height_ = 0; ///< of the texture
};

} // namespace VX
