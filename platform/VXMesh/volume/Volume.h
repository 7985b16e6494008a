#pragma once

#include <VXMesh/volume/VolumeGrid.h>
#include <VXMesh/volume/VoxelType.h>

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace VX
{

/// The voxels of one brick, `Volume::brickSize` of them, x fastest, then y, then z; in the machine's byte order.
using VolumeBrick = std::shared_ptr<const std::byte[]>;

/// Which values are shown from black to white: `center` ± `width` / 2. In values, not in what is stored.
struct VolumeWindow
{
    double center = 0;
    double width = 0; ///< 0: nobody has chosen one

    bool operator==( const VolumeWindow& ) const = default;
};

/// What the stored numbers mean. The value of a voxel is stored * slope + intercept.
struct VoxelMeaning
{
    double slope = 1;
    double intercept = 0;
    /// Of the values, "HU" say; empty when unknown.
    std::string unit = {};
    VolumeWindow window = {};

    bool operator==( const VoxelMeaning& ) const = default;
    [[nodiscard]] double valueOf( double stored ) const { return stored * slope + intercept; }
};

/// Voxels on an even grid, one number each.
///
/// They lie in bricks of 64 x 64 x 16, those at the far borders smaller, so nothing is padded: a slice across z meets
/// one layer of bricks, and 128 KiB of 16 bit numbers is little to copy at an edit and much to read at once. Bricks are
/// shared and never change, so a copy of a volume costs 16 bytes a brick, any thread may read one, and volumes that
/// came from each other by `VolumeEdit` share what was not touched. Bricks of one value throughout may be one brick.
///
/// To read many voxels ask for their type once, by `visit` (VoxelView.h); to make a volume use `VolumeBuilder`.
class VXMESH_API Volume
{
public:
    static constexpr VoxelIndex cBrickShift{ 6, 6, 4 };
    static constexpr VoxelIndex cBrickSize{ 64, 64, 16 };

    /// Nothing at all.
    Volume() = default;
    /// Of bricks as `brickIndex` numbers them. Nothing is looked at; `isConsistent` tells whether the parts fit.
    Volume( VoxelType type, const VolumeGrid& grid, VoxelMeaning meaning, std::vector<VolumeBrick> bricks );
    /// Stored numbers that are all `stored`, which is held to the range of the type; costs a few bricks of memory.
    [[nodiscard]] static Volume filled( VoxelType type, const VolumeGrid& grid, double stored = 0 );

    [[nodiscard]] VoxelType type() const { return type_; }
    [[nodiscard]] const VolumeGrid& grid() const { return grid_; }
    [[nodiscard]] const VoxelIndex& size() const { return grid_.size; }
    [[nodiscard]] const VoxelMeaning& meaning() const { return meaning_; }
    [[nodiscard]] bool empty() const { return bricks_.empty(); }
    /// Around whole voxels; empty when there are none.
    [[nodiscard]] Box3d box() const { return grid_.box(); }
    [[nodiscard]] Vector3d worldOf( const Vector3d& index ) const { return grid_.worldOf( index ); }
    [[nodiscard]] Vector3d indexOf( const Vector3d& world ) const { return grid_.indexOf( world ); }

    /// The same voxels, shared, elsewhere or with another meaning. A grid of another size gives an empty volume.
    [[nodiscard]] Volume with( VoxelMeaning meaning ) const;
    [[nodiscard]] Volume with( const VolumeGrid& grid ) const;

    /// Of one voxel; NaN outside. For single voxels: it asks for the type each time.
    [[nodiscard]] double stored( const VoxelIndex& index ) const;
    [[nodiscard]] double value( const VoxelIndex& index ) const { return meaning_.valueOf( stored( index ) ); }

    /// How many bricks there are along each axis.
    [[nodiscard]] VoxelIndex brickCounts() const;
    [[nodiscard]] const std::vector<VolumeBrick>& bricks() const { return bricks_; }
    /// The number of the brick at a place among the bricks.
    [[nodiscard]] size_t brickIndex( const VoxelIndex& place ) const;
    /// The first voxel of a brick, and how many it has along each axis.
    [[nodiscard]] VoxelIndex brickBegin( size_t brick ) const;
    [[nodiscard]] VoxelIndex brickSize( size_t brick ) const;
    [[nodiscard]] size_t brickBytes( size_t brick ) const;
    /// Bytes of memory of the voxels, each brick once however often it is used.
    [[nodiscard]] uint64_t bytes() const;

    /// False when the grid makes no sense, or the meaning has numbers that are none.
    [[nodiscard]] bool hasSense() const;
    /// The same, and false when a brick is missing.
    [[nodiscard]] bool isConsistent() const;

private:
    friend class VolumeEdit;

    VoxelType type_ = VoxelType::UInt8;
    VolumeGrid grid_;
    VoxelMeaning meaning_;
    std::vector<VolumeBrick> bricks_;
};

/// How many bricks a grid of this size is cut into along each axis.
[[nodiscard]] VXMESH_API VoxelIndex brickCountsOf( const VoxelIndex& size );

} // namespace VX
