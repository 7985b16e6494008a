#pragma once

#include <VXMesh/Export.h>
#include <VXMesh/math/AffineXf3.h>

#include <array>
#include <cstdint>

namespace VX
{

/// Of a voxel: column, row and slice, from 0; or how many there are of each.
using VoxelIndex = std::array<int, 3>;

/// Of a vector along an axis: 0, 1 or 2.
[[nodiscard]] inline double component( const Vector3d& v, size_t axis )
{
    return axis == 0 ? v.x : axis == 1 ? v.y : v.z;
}

/// Where the voxels of a volume stand: an even grid of right angles.
///
/// The centre of voxel 0, 0, 0 is at `origin`; the centre of i, j, k is at origin + direction * ( i * spacing.x,
/// j * spacing.y, k * spacing.z ), so the columns of `direction` are the axes of the grid. They are orthonormal, and
/// may be left-handed. Lengths are in the units of the scene, millimetres where the file is of a patient; there x grows
/// to the left, y to the back and z to the head, as in DICOM, whatever the file's own order is.
struct VXMESH_API VolumeGrid
{
    VoxelIndex size{ 0, 0, 0 };
    Vector3d spacing{ 1, 1, 1 };
    Matrix3d direction = {};
    Vector3d origin = {};

    bool operator==( const VolumeGrid& ) const = default;

    /// 0 when there are none, or more than 2^63.
    [[nodiscard]] uint64_t voxelCount() const;
    /// Whether the sizes and spacings are above zero, all numbers finite, and the axes orthonormal to 1e-4.
    [[nodiscard]] bool isConsistent() const;
    [[nodiscard]] bool contains( const VoxelIndex& index ) const;

    /// From fractional indices, whole at the centres of voxels, to the volume's space and back.
    [[nodiscard]] AffineXf3d worldXf() const;
    [[nodiscard]] AffineXf3d indexXf() const;
    [[nodiscard]] Vector3d worldOf( const Vector3d& index ) const;
    [[nodiscard]] Vector3d indexOf( const Vector3d& world ) const;
    /// The voxel that a point lies in; may be outside of the grid.
    [[nodiscard]] VoxelIndex voxelAt( const Vector3d& world ) const;
    /// Around whole voxels, so half a spacing beyond the centres of the outermost.
    [[nodiscard]] Box3d box() const;
    /// Which axis of the grid (0, 1 or 2) runs nearest along x, y or z (0, 1 or 2) of the volume's space. The three
    /// answers are different ones.
    [[nodiscard]] int axisAlong( int axis ) const;
};

} // namespace VX
