#pragma once

#include <VXMesh/formats/LoadedObjects.h>
#include <VXMesh/scene/Mesh.h>

#include <filesystem>

namespace VX
{

/// Finds the creases to draw over a mesh from a file, but not over large scans: there it costs more than reading does,
/// and they only make noise.
VXMESH_API void addCreases( Mesh& mesh );

/// The one object of a file, named after it.
[[nodiscard]] LoadedObjects meshOfFile(
    const std::filesystem::path& file, std::shared_ptr<Mesh> mesh, std::string warnings = {} );
[[nodiscard]] LoadedObjects pointsOfFile( const std::filesystem::path& file, std::shared_ptr<PointCloud> points );

/// "Cannot read "part.stl": what is wrong".
[[nodiscard]] std::string cannotRead( const std::filesystem::path& file, const std::string& why );

} // namespace VX
