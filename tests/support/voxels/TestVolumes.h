#pragma once

#include <VXMesh/volume/VolumeEdit.h>
#include <VXMesh/volume/VoxelView.h>

#include <string>

namespace VX::Testing
{

/// What stands at a place of `numberedVolume`, another number at most neighbours; it uses the whole range of 8 bits.
[[nodiscard]] inline int numberAt( const VoxelIndex& index )
{
    return ( index[0] * 7 + index[1] * 31 + index[2] * 101 ) % 127;
}

/// A volume whose voxels tell their places.
[[nodiscard]] Volume numberedVolume( VoxelType type, const VoxelIndex& size );

/// Calls `work` with every place of a volume, x fastest.
template <typename Work>
void forEachIndex( const VoxelIndex& size, const Work& work )
{
    for ( int z = 0; z < size[2]; ++z )
        for ( int y = 0; y < size[1]; ++y )
            for ( int x = 0; x < size[0]; ++x )
                work( VoxelIndex{ x, y, z } );
}

/// An NRRD file of 8 bit voxels, whose numbers `at` tells.
template <typename At>
[[nodiscard]] std::string nrrdOf( const VoxelIndex& size, const At& at )
{
    std::string out = "NRRD0004\ntype: unsigned char\ndimension: 3\nencoding: raw\nspacings: 1 1 1\nsizes:";
    for ( const int one : size )
        out += " " + std::to_string( one );
    out += "\n\n";
    forEachIndex( size, [&]( const VoxelIndex& index ) { out += char( at( index ) ); } );
    return out;
}

/// How many stored numbers differ; all of one when the sizes do.
[[nodiscard]] size_t differingVoxels( const Volume& a, const Volume& b );

inline constexpr std::array cAllVoxelTypes{ VoxelType::Int8, VoxelType::UInt8, VoxelType::Int16, VoxelType::UInt16,
    VoxelType::Int32, VoxelType::UInt32, VoxelType::Float32 };

} // namespace VX::Testing
