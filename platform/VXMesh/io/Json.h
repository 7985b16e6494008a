#pragma once

#include <VXMesh/Export.h>

#include <json/value.h>
#include <tl/expected.hpp>

#include <filesystem>
#include <string>

namespace VX
{

/// Parses one JSON document; any thread. The error is the parser's own text with line and column.
[[nodiscard]] VXMESH_API tl::expected<Json::Value, std::string> deserializeJsonValue( const std::string& text );

/// The same from a file of at most 64 MiB; the error names the file.
[[nodiscard]] VXMESH_API tl::expected<Json::Value, std::string> deserializeJsonValue(
    const std::filesystem::path& file );

} // namespace VX
