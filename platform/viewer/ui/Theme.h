#pragma once

#include <imgui.h>

namespace VX::Theme
{

/// The one colour that draws attention.
inline const ImVec4 cAccent{ 1.0f, 0.62f, 0.21f, 1 };
inline const ImVec4 cDimText{ 0.60f, 0.63f, 0.68f, 1 };
inline const ImVec4 cErrorText{ 1.0f, 0.42f, 0.38f, 1 };
inline const ImVec4 cWarningText{ 1.0f, 0.78f, 0.35f, 1 };
inline const ImVec4 cGoodText{ 0.45f, 0.82f, 0.52f, 1 };

/// Colours and measures of the interface for a scale.
void apply( float scale );

} // namespace VX::Theme
