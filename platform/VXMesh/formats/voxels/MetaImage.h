#pragma once

#include <VXMesh/formats/voxels/VoxelStream.h>

#include <filesystem>

namespace VX
{

/// Reads MetaImage (https://itk.org/Wiki/MetaIO/Documentation): ".mha", and ".mhd" with its voxels in one or several
/// files beside it; raw, packed by zlib, and as text.
///
/// Of several volumes the first is read, and a warning counts them. Any thread; the error says what is wrong and does
/// not name the file.
[[nodiscard]] VXMESH_API tl::expected<ReadVolume, std::string> readMetaImage(
    const std::filesystem::path& file, const ProgressCallback& progress = {} );

} // namespace VX
