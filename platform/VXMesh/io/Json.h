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

/// Parses what strangers send (RFC 8259): an object or an array, without comments, a byte order mark, a name that
/// stands twice, or anything after its end.
[[nodiscard]] VXMESH_API tl::expected<Json::Value, std::string> deserializeStrictJson( const std::string& text );

/// The member of an object when it is a text; `fallback` when it is missing or of another type, or where there is no
/// object.
[[nodiscard]] VXMESH_API std::string textMember(
    const Json::Value& object, const char* key, const std::string& fallback = {} );

} // namespace VX
