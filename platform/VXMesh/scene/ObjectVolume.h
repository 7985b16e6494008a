#pragma once

#include <VXMesh/scene/VisualObjects.h>
#include <VXMesh/volume/Volume.h>

namespace VX
{

/// Voxels in the scene. The volume is shared and constant: to change it make another and set that, so a step back
/// costs only the bricks that differ.
///
/// The grid stands in the space of the object, so the place of a voxel in the scene is worldXf()( volume->worldOf(…) ).
/// It is drawn as three slices through the cursor. The object's colour is the one of a surface that is made of it.
class VXMESH_API ObjectVolume final : public VisualObject
{
public:
    [[nodiscard]] const std::shared_ptr<const Volume>& volume() const { return volume_; }
    /// Takes a consistent volume (see `Volume::isConsistent`); null empties the object. The cursor stays where the size
    /// is the same, and is in the middle else.
    void setVolume( std::shared_ptr<const Volume> volume );
    [[nodiscard]] Box3f localBox() const override { return box_; }

    /// The voxel that slices go through.
    [[nodiscard]] const VoxelIndex& cursor() const { return cursor_; }
    /// Held to the grid.
    void setCursor( const VoxelIndex& voxel );
    /// Shows other values from black to white; a width above zero. The voxels are shared.
    void setWindow( const VolumeWindow& window );

private:
    std::shared_ptr<const Volume> volume_;
    Box3f box_;
    VoxelIndex cursor_{ 0, 0, 0 };
};

/// A volume for the scene, which has a window at least from then on: its own, or one by its values. Blocks for as long
/// as looking at all values takes; any thread.
[[nodiscard]] VXMESH_API std::shared_ptr<ObjectVolume> makeObjectVolume( Volume volume );

} // namespace VX
