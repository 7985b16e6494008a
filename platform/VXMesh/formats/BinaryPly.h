#pragma once

#include <VXMesh/formats/FileFormat.h>

#include <optional>

namespace VX
{

/// Reads a binary little-endian PLY file of points, in floats or doubles, or of points and triangles, as scanners and
/// most programs write it.
/// Blocks; uses all cores.
///
/// Nothing when the file is text, big-endian, has polygons or elements in another order: other readers know those.
[[nodiscard]] VXMESH_API std::optional<tl::expected<LoadedObjects, std::string>> loadBinaryPly(
    const std::filesystem::path& file, const ProgressCallback& progress );

} // namespace VX
