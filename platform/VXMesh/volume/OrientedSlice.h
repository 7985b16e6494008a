#pragma once

#include <VXMesh/volume/VolumeSlice.h>

namespace VX
{

/// What slices are across of, in the volume's space; of a patient x grows to the left, y to the back and z to the head.
enum class SliceDirection
{
    Axial,   ///< across z
    Coronal, ///< across y
    Sagittal ///< across x
};

/// How the slices of a direction lie in a grid and, as physicians look at them, on a screen: axial ones from below,
/// with the patient's left side at the right and the back at the bottom; coronal ones from the front and sagittal ones
/// from the left, with the head at the top.
///
/// The voxels are taken as they lie, so a grid at an angle is shown along its own axes.
struct VXMESH_API OrientedSlice
{
    size_t across = 2, right = 0, down = 1; ///< axes of the grid
    /// The picture runs against the axis.
    bool turnsRight = false, turnsDown = false;

    [[nodiscard]] static OrientedSlice of( const VolumeGrid& grid, SliceDirection direction );

    bool operator==( const OrientedSlice& ) const = default;

    /// A pixel a voxel.
    [[nodiscard]] SlicePlane plane( const VolumeGrid& grid, int index ) const;
    /// Pixels from the left and the upper edge to the centre of a voxel, which is half a pixel from those of the first.
    [[nodiscard]] std::array<double, 2> pixelOf( const VolumeGrid& grid, const VoxelIndex& voxel ) const;
    /// The voxel at pixels from the left and the upper edge, held to the grid, of the slice that another is in.
    [[nodiscard]] VoxelIndex voxelAt( const VolumeGrid& grid, double x, double y, const VoxelIndex& slice ) const;
    /// Width and height of the whole slice in the volume's space.
    [[nodiscard]] std::array<double, 2> extent( const VolumeGrid& grid ) const;
};

} // namespace VX
