#pragma once

#include <VXMesh/Export.h>

#include <functional>

namespace VX
{

/// Receives fractions 0..1 of the work done; a false return asks the work to stop. May be empty.
using ProgressCallback = std::function<bool( float )>;

/// The text of every operation that stopped because its callback returned false.
inline constexpr const char* cOperationCanceled = "Operation was canceled";

/// Maps 0..1 of a stage onto `from`..`to` of its parent; empty when the parent is empty.
[[nodiscard]] VXMESH_API ProgressCallback subprogress( ProgressCallback parent, float from, float to );

/// Reports a fraction where somebody listens; false asks to stop.
[[nodiscard]] VXMESH_API bool reportProgress( const ProgressCallback& progress, float fraction );

} // namespace VX
