#include "support/voxels/TestVolumes.h"

namespace VX::Testing
{

Volume numberedVolume( VoxelType type, const VoxelIndex& size )
{
    VolumeGrid grid;
    grid.size = size;
    VolumeEdit edit( Volume::filled( type, grid ) );
    forEachIndex( size, [&]( const VoxelIndex& index ) { edit.setStored( index, numberAt( index ) ); } );
    return std::move( edit ).finish();
}

size_t differingVoxels( const Volume& a, const Volume& b )
{
    if ( a.size() != b.size() )
        return a.grid().voxelCount();
    size_t out = 0;
    forEachIndex( a.size(), [&]( const VoxelIndex& index ) { out += a.stored( index ) != b.stored( index ); } );
    return out;
}

} // namespace VX::Testing
