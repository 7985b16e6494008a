#pragma once

#include <VXMesh/Export.h>

#include <string>
#include <string_view>

namespace VX
{

/// The text with the ASCII letters in lower case; other bytes of UTF-8 stay as they are.
[[nodiscard]] VXMESH_API std::string toLower( std::string_view text );

/// The text without white space at its ends.
[[nodiscard]] VXMESH_API std::string trimmed( std::string_view text );

/// What a stranger's program has said, fit to be shown: its printable ASCII characters, cut at `maxLength`.
[[nodiscard]] VXMESH_API std::string printable( std::string_view text, size_t maxLength );

} // namespace VX
