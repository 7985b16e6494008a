#pragma once

#include <VXMesh/Export.h>

#include <string>

namespace VX
{

/// Makes the log of this process: to standard error, in colours where that is a terminal. Texts of services, files and
/// neighbours stay unchanged in what is logged and are made visible as they are written (`visibleText`), so that none
/// of them steers the terminal or forges a line. Call it once, at the begin of `main`.
VXMESH_API void startTerminalLog( const std::string& name );

} // namespace VX
