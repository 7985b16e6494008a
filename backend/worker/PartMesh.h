#pragma once

#include <VXMesh/scene/Mesh.h>

#include <iosfwd>
#include <map>
#include <memory>
#include <string>

namespace VX::Backend
{

/// The surface of a part, or of some of its faces.
struct PartMesh
{
    std::shared_ptr<Mesh> mesh; ///< null when there is nothing to draw
    Color color;
    /// From here on each of the mesh's edges has only one face in its share, which lies to the left.
    size_t firstOutline = 0;
    /// What the faces of cut shells add to the volume of the whole part.
    double cutVolume = 0;
};

/// By a key that is the same in every process that reads the file.
using PartMeshes = std::map<std::string, PartMesh>;

/// Adds the faces of another share of the same parts. Edges that lie on a cut are drawn once. False when their
/// faces look to different sides, or the parts are not the same.
[[nodiscard]] bool join( PartMeshes& parts, const PartMeshes& others );

void write( std::ostream& out, const PartMeshes& parts );
/// False when the stream ends before its parts do.
[[nodiscard]] bool read( std::istream& in, PartMeshes& parts );

} // namespace VX::Backend
