#pragma once

#include <VXMesh/formats/voxels/VoxelStream.h>

#include <filesystem>

namespace VX
{

/// Reads NRRD (https://teem.sourceforge.net/nrrd/format.html): ".nrrd" and ".nhdr" with its voxels in one or several
/// files beside it; raw, gzip, ascii and hex.
///
/// Axes without a place in space count as channels when they come first and as several volumes when they come last, of
/// which the first is read. Any thread; the error says what is wrong and does not name the file.
[[nodiscard]] VXMESH_API tl::expected<ReadVolume, std::string> readNrrd(
    const std::filesystem::path& file, const ProgressCallback& progress = {} );

} // namespace VX
