#pragma once

#include <VXMesh/formats/FileFormat.h>

namespace VX
{

/// Point clouds as text, one point per line: x y z, optionally followed by r g b from 0 to 255 (".xyz", ".txt",
/// ".pts").
[[nodiscard]] FileFormat pointsFormat();

} // namespace VX
