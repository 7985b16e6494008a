#pragma once

#include <VXMesh/formats/voxels/VoxelStream.h>

#include <filesystem>

namespace VX
{

/// Reads NIfTI-1 and NIfTI-2 (https://nifti.nimh.nih.gov), one file or two (".hdr" beside ".img"), plain or packed by
/// gzip, in both byte orders, and ANALYZE 7.5, which came before them.
///
/// The volume stands where the sform says, else the qform, else at its own indices; in millimetres where the file tells
/// its unit. Of several volumes the first is read, and a warning counts them. Any thread; the error says what is wrong
/// and does not name the file.
[[nodiscard]] VXMESH_API tl::expected<ReadVolume, std::string> readNifti(
    const std::filesystem::path& file, const ProgressCallback& progress = {} );

} // namespace VX
