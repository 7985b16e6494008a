#pragma once

#include <VXMesh/formats/FileFormats.h>

namespace VX
{

/// The mesh formats that the assimp library reads for us: STL, OBJ, PLY, OFF, glTF, 3MF, COLLADA, FBX and 3DS.
[[nodiscard]] std::vector<FileFormat> assimpFormats();

} // namespace VX
