#pragma once

#include <VXMesh/volume/VolumeGrid.h>

#include <tl/expected.hpp>

#include <string>

namespace VX
{

struct GridOfAxes
{
    VolumeGrid grid;
    std::string warning; ///< when the axes were not at right angles; else empty
};

/// The grid whose steps along its axes are the columns of `axes`, as far as grids of right angles go: sheared axes are
/// turned into the nearest that are. Fails for steps of no length or in one plane, and for what is no number.
[[nodiscard]] tl::expected<GridOfAxes, std::string> gridOfAxes(
    const VoxelIndex& size, const Matrix3d& axes, const Vector3d& origin );

/// From coordinates that grow to the right, the front and the head to those of a `VolumeGrid`, or back.
[[nodiscard]] inline AffineXf3d rightToLeft()
{
    return { { { -1, 0, 0 }, { 0, -1, 0 }, { 0, 0, 1 } }, {} };
}

} // namespace VX
