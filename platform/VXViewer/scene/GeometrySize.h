#pragma once

#include <VXViewer/Export.h>

#include <cstdint>

namespace VX
{

class Object;

/// Bytes that the geometry of a tree takes, each counted once however many objects share it.
[[nodiscard]] VXVIEWER_API uint64_t geometryBytes( Object& root );

} // namespace VX
