#pragma once

#include <VXMesh/formats/FileFormat.h>

#include <span>

namespace VX
{

/// The native scene format ".vxu": a binary glTF 2.0 file (https://registry.khronos.org/glTF/specs/2.0) whose buffers
/// are packed with EXT_meshopt_compression. Also reads plain ".glb".
///
/// The scene is Z up and glTF is Y up, so all objects stand under one node that turns them; it is marked in its
/// "extras" and dissolved when the file is read. What glTF has no word for is kept in "extras": hidden and selected
/// objects, colours by face. Voxels stand under an extension that other programs pass over (gltf/PackedVolume.h). Lines
/// over the points of a surface are that surface's edges.
///
/// Placements keep every digit of their doubles. Geometry that lies far from its object's own origin, as other programs
/// write it, gets an origin near it when it is read.
[[nodiscard]] FileFormat vxuFormat();

/// Reads the bytes of a .vxu or .glb file. Any thread; safe on hostile bytes; the error says what is wrong with them.
[[nodiscard]] VXMESH_API tl::expected<LoadedObjects, std::string> readVxu(
    std::span<const std::byte> bytes, const ProgressCallback& progress = {} );

/// The bytes of a .vxu file with these trees; objects that share geometry share it in the file too.
/// Fails when stopped, or when the scene is over the format's 4 GiB.
[[nodiscard]] VXMESH_API tl::expected<std::vector<std::byte>, std::string> writeVxu(
    std::span<const std::shared_ptr<Object>> roots, const ProgressCallback& progress = {} );

/// Writes these trees to `file`, replacing it in one step.
[[nodiscard]] VXMESH_API tl::expected<void, std::string> saveVxu( const std::filesystem::path& file,
    std::span<const std::shared_ptr<Object>> roots, const ProgressCallback& progress = {} );

} // namespace VX
