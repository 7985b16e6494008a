#pragma once

#include <VXMesh/scene/VisualObjects.h>
#include <VXMesh/volume/Volume.h>

namespace VX
{

/// Voxels in the scene. The volume is shared and constant: to change it make another and set that, so a step back
/// costs only the bricks that differ.
///
/// The grid stands in the space of the object, so the place of a voxel in the scene is worldXf()( volume->worldOf(…) ).
/// The object's colour is the one of a surface that is made of it.
class VXMESH_API ObjectVolume final : public VisualObject
{
public:
    [[nodiscard]] const std::shared_ptr<const Volume>& volume() const { return volume_; }
    /// Takes a consistent volume (see `Volume::isConsistent`); null empties the object.
    void setVolume( std::shared_ptr<const Volume> volume );
    [[nodiscard]] Box3f localBox() const override { return box_; }

private:
    std::shared_ptr<const Volume> volume_;
    Box3f box_;
};

} // namespace VX
