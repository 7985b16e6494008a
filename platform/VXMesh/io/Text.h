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

/// A stranger's text on its way to a terminal or a log: nothing in it can move the cursor, turn the direction of the
/// writing or look like a line of ours.
///
/// Controls become their signs ("␛"), direction marks and separators their numbers ("<U+202E>"), and bytes that are not
/// UTF-8 theirs ("<9B>"). What follows a line feed is indented. Letters of all scripts stay.
[[nodiscard]] VXMESH_API std::string visibleText( std::string_view text );

} // namespace VX
