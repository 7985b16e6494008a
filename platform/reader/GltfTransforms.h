#pragma once

#include <VXMesh/math/AffineXf3.h>

#include <assimp/scene.h>

#include <filesystem>
#include <unordered_map>

namespace VX
{

/// The placements of nodes as their file has them.
using NodeTransforms = std::unordered_map<const aiNode*, AffineXf3d>;

/// The assimp library rounds placements to floats; this reads those of a .gltf file once more, in double. Nodes that
/// the file does not seem to hold are left out. Blocks.
[[nodiscard]] NodeTransforms gltfTransforms( const std::filesystem::path& file, const aiNode& root );

} // namespace VX
