#pragma once

#include <string>

namespace VX::Testing
{

/// Turns the viewer's loop until nothing is left to do at once.
void settleFrames();

/// Whether Dear ImGui has drawn a window whose name contains a text in the last frame.
[[nodiscard]] bool isWindowShown( const std::string& name );

} // namespace VX::Testing
