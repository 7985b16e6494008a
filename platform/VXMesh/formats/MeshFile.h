#pragma once

#include <VXMesh/scene/LoadedObjects.h>
#include <VXMesh/scene/Mesh.h>

#include <filesystem>

namespace VX
{

/// Finds the creases to draw over a mesh from a file, but not over large scans: there it costs more than reading does,
/// and they only make noise.
VXMESH_API void addCreases( Mesh& mesh );

/// The one object of a file, named after it, with its geometry seen from `origin`.
[[nodiscard]] LoadedObjects meshOfFile(
    const std::filesystem::path& file, std::shared_ptr<Mesh> mesh, const Vector3d& origin, std::string warnings = {} );
[[nodiscard]] LoadedObjects pointsOfFile(
    const std::filesystem::path& file, std::shared_ptr<PointCloud> points, const Vector3d& origin );

/// "Cannot read "part.stl": what is wrong".
[[nodiscard]] std::string cannotRead( const std::filesystem::path& file, const std::string& why );

} // namespace VX
