#pragma once

#include <VXMesh/formats/FileFormat.h>
#include <VXMesh/formats/voxels/RawVolume.h>
#include <VXMesh/volume/Volume.h>

#include <vector>

namespace VX
{

/// NIfTI, NRRD, MetaImage, TIFF stacks, and raw voxels whose name tells their size.
[[nodiscard]] std::vector<FileFormat> volumeFormats();

/// Opens the TIFF files of a folder as the slices of one volume, in the order of the numbers in their names. Blocks;
/// any thread. The error names the folder, and the file in it that does not fit to the others.
[[nodiscard]] VXMESH_API LoadResult loadTiffFolder(
    const std::filesystem::path& folder, const ProgressCallback& progress = {} );

/// Opens a file of bare voxels by what somebody says of it. Blocks; any thread.
[[nodiscard]] VXMESH_API LoadResult loadRaw(
    const std::filesystem::path& file, const RawVolume& raw, const ProgressCallback& progress = {} );

/// The one object of a file, named after it without its endings. A volume that lies so far from zero that floats would
/// round its box has its origin in the object's placement.
[[nodiscard]] VXMESH_API LoadedObjects volumeOfFile(
    const std::filesystem::path& file, const Volume& volume, std::string warnings = {} );

} // namespace VX
