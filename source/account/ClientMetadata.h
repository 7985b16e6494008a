#pragma once

#include <VXOrvanta/Export.h>

#include <json/value.h>

namespace VX
{

/// What every request to the identity service tells about this installation, all as texts: platform and version, and
/// of a system-info object "os", "cpu", "gpu", "gl_version", "ram", "width", "height" and "scaling_percent". A group
/// or member that is missing or of another type is left out, whatever the object holds instead.
[[nodiscard]] VXORVANTA_API Json::Value clientMetadata( const Json::Value& systemInfo );

} // namespace VX
