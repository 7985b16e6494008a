#pragma once

#include <VXMesh/volume/Volume.h>

namespace VX
{

/// Changes voxels of a volume by making a new one that shares all bricks that were not touched. One thread at a time,
/// but different bricks, once asked for, may be written from different threads.
///
///     VolumeEdit edit( volume );
///     edit.setStored( { 1, 2, 3 }, 100 );
///     const Volume changed = std::move( edit ).finish();
class VXMESH_API VolumeEdit
{
public:
    explicit VolumeEdit( Volume volume );

    /// As it is by now.
    [[nodiscard]] const Volume& volume() const { return volume_; }
    /// The voxels of a brick to write to, in the order of `VolumeBrick`; copies the brick the first time. Empty when
    /// there is no such brick or `T` is not the volume's type.
    template <Voxel T>
    [[nodiscard]] std::span<T> brick( size_t index )
    {
        if ( cVoxelTypeOf<T> != volume_.type() || index >= own_.size() )
            return {};
        return { reinterpret_cast<T*>( ownBytes_( index ) ), volume_.brickBytes( index ) / sizeof( T ) };
    }
    /// Changes one voxel, held to the range of the type; nothing outside of the volume.
    void setStored( const VoxelIndex& index, double stored );
    /// Whether a brick was asked for to write to.
    [[nodiscard]] bool isTouched( size_t brick ) const { return brick < own_.size() && own_[brick] != nullptr; }
    /// The changed volume.
    [[nodiscard]] Volume finish() &&;

private:
    std::byte* ownBytes_( size_t brick );

    Volume volume_;
    std::vector<std::byte*> own_; ///< into the bricks that only this edit has
};

} // namespace VX
