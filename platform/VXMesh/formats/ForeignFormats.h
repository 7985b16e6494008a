#pragma once

#include <VXMesh/formats/FileFormat.h>

namespace VX
{

/// The mesh formats with readers of many hands: STL, OBJ, PLY, OFF, glTF, 3MF, COLLADA, FBX and 3DS. Binary STL and PLY
/// of triangles or points are read here, all others in a reader process.
[[nodiscard]] std::vector<FileFormat> foreignFormats();

} // namespace VX
