#pragma once

#include <VXMesh/volume/Volume.h>

#include <limits>

namespace VX
{

/// A rectangle of pixels somewhere in the space of a volume. Pixel x, y has its centre at
/// origin + x * right + y * down.
struct SlicePlane
{
    Vector3d origin = {};
    /// From a pixel to the next one along a row, and to the one in the next row; of any length and angle.
    Vector3d right{ 1, 0, 0 }, down{ 0, 1, 0 };
    int width = 0, height = 0;

    bool operator==( const SlicePlane& ) const = default;
    [[nodiscard]] Vector3d at( double x, double y ) const { return origin + right * x + down * y; }
    [[nodiscard]] size_t pixelCount() const { return width > 0 && height > 0 ? size_t( width ) * size_t( height ) : 0; }
};

/// The plane of the voxels that have `index` along `axis` (0, 1 or 2) of the grid, a pixel a voxel: across axis 2 rows
/// are along 0 and downwards is 1, across 1 along 0 and 2, across 0 along 1 and 2. `VolumeGrid::axisAlong` tells which
/// axis is the patient's.
[[nodiscard]] VXMESH_API SlicePlane gridPlane( const VolumeGrid& grid, int axis, double index );

/// A plane of this many pixels of one size around a point, square to `normal`, with `up` towards the top of the
/// picture. An up that is along the normal or zero is replaced by another.
[[nodiscard]] VXMESH_API SlicePlane planeThrough(
    const Vector3d& center, const Vector3d& normal, const Vector3d& up, double pixelSize, int width, int height );

enum class Interpolation
{
    Nearest,
    Linear ///< among the eight voxels around
};

struct SliceOptions
{
    Interpolation interpolation = Interpolation::Linear;
    /// Of pixels more than half a voxel beyond the outermost centres; NaN unless told otherwise.
    float outside = std::numeric_limits<float>::quiet_NaN();
};

/// Samples the values of a volume, row after row, on all cores. False, and nothing done, when `out` is not one number
/// for each pixel. Blocks; any thread.
VXMESH_API bool sampleSlice(
    const Volume& volume, const SlicePlane& plane, std::span<float> out, const SliceOptions& options = {} );

/// Grey from 0, at and below the window, to 255; what is no number is 0. False, and nothing done, when the sizes
/// differ.
VXMESH_API bool toGrey( std::span<const float> values, const VolumeWindow& window, std::span<uint8_t> out );

} // namespace VX
