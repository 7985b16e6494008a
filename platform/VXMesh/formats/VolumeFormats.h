#pragma once

#include <VXMesh/formats/FileFormat.h>
#include <VXMesh/volume/Volume.h>

#include <vector>

namespace VX
{

/// NIfTI, NRRD, MetaImage, and raw voxels whose name tells their size.
[[nodiscard]] std::vector<FileFormat> volumeFormats();

/// The one object of a file, named after it without its endings. A volume that lies so far from zero that floats would
/// round its box has its origin in the object's placement.
[[nodiscard]] VXMESH_API LoadedObjects volumeOfFile(
    const std::filesystem::path& file, const Volume& volume, std::string warnings = {} );

} // namespace VX
