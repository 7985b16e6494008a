#pragma once

#include <VXMesh/volume/VolumeGrid.h>

#include <string>

namespace VX
{

/// "512 x 512 x 400".
[[nodiscard]] VXMESH_API std::string sizeText( const VoxelIndex& size );

/// "210 MB", in units of 1000; "1.5 GB" below ten of a unit.
[[nodiscard]] VXMESH_API std::string bytesText( uint64_t bytes );

} // namespace VX
